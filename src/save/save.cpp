#include "save/save.h"

#include <exception>

#include "command/messages.h"
#include "img/transfer.h"
#include "io/failure.h"
#include "render/failures.h"
#include "render/image_pool.h"
#include "save/memory.h"
#include "save/movie.h"
#include "save/own_sources.h"
#include "save/picture_file.h"
#include "save/preview_view.h"
#include "save/sequence.h"
#include "sources/movie_codec.h"

namespace save {
namespace {

// Whether a save may begin: its target and all that the line asked for are there. Otherwise its error line is written.
bool open_target(context& context, const std::string& path, target& target, bool is_walk = false) {
  std::string line;
  if (!(is_walk ? find_walk_target(path, context.options.codec, target, line) : find_target(path, target, line))) {
    context.report_error(line);
    return false;
  }
  if (context.failed_inputs.empty() || context.incomplete) return true;
  context.report_error(command::about(target.path, "Not saved, because an input could not be opened",
                                      '"' + context.failed_inputs.front() + "\" (--save_incomplete=1 saves without)"));
  return false;
}

std::string text_of(const std::vector<render::layer_failure>& failures) {
  std::string text;
  for (const render::layer_failure& failure : failures) text += (text.empty() ? "" : "; ") + failure.line;
  return text;
}

// Whether a layer's file can hold its floats: the format takes them, and nothing in the layer's way works on bytes.
bool takes_floats(const ksn::track_info& track, const target& target, const img::save_options& options) {
  const bool deep = target.is_movie()
                        ? sources::find_movie_codec(codec_of(target, false))->deep
                        : target.format->has_native_float() || (options.bits == 16 && target.format->holds_16_bits());
  return deep && !track.look.ck_primary.enabled && !track.look.ck_secondary.enabled &&
         track.look.channels == ksn::view_type::rgb && track.look.alpha_source_id == 0 && !track.look.invert_color &&
         !track.look.invert_alpha && !track.look.invert_depth;
}

class layer_source {
 public:
  layer_source(context& context, int index, const target& target)
      : context_(context),
        index_(index),
        floats_(takes_floats(context.composition.doc.track_at(index), target, context.options)),
        correction_(context.composition.doc.track_at(index).look.tf) {}

  picture make(double time) {
    const ksn::track_info& track = context_.composition.doc.track_at(index_);
    if (floats_) {
      const double position = track.source_position(time);
      const img::const_image_ptr native =
          position < 0.0 ? nullptr : context_.pipeline.native_frame(track, static_cast<int>(position));
      if (!native) return {nullptr, nullptr, failure_at(time)};
      if (native->depth[0] != 8) {
        const auto floats = std::make_shared<img::float_image>();
        correction_.convert_float(*floats, *native, true);
        return {nullptr, floats, {}};
      }
    }
    const img::const_image_ptr image =
        render::prepare_layer_picture(context_.pipeline, context_.composition, index_, time);
    std::string failure = failure_at(time);
    if (!image || (!failure.empty() && !context_.incomplete)) return {nullptr, nullptr, std::move(failure)};
    return {image, nullptr, {}};
  }

  std::size_t bytes() const { return layer_bytes(context_.composition.doc.track_at(index_)); }

  std::vector<cache::frame_request> sources(double time) const {
    std::vector<cache::frame_request> list;
    cache::frame_request wanted;
    if (wanted_of(context_.composition.doc.track_at(index_), time, floats_, wanted)) list.push_back(wanted);
    const int source =
        context_.composition.doc.index_of_id(context_.composition.doc.track_at(index_).look.alpha_source_id);
    if (source >= 0 && wanted_of(context_.composition.doc.track_at(source), time, false, wanted))
      list.push_back(wanted);
    return list;
  }

 private:
  std::string failure_at(double time) const {
    return text_of(render::failed_layers_of(context_.pipeline, context_.composition, index_, time));
  }

  context& context_;
  int index_;
  bool floats_;
  img::transfer correction_;
};

render::frame_view output_of(const context& context) {
  return render::output_view(context.composition.doc, context.composition.view);
}

picture composite_at(context& context, const render::frame_view& view, double time) {
  const img::image_ptr image = render::empty_image();
  render::render_frame(context.pipeline, context.composition, *image, view, time);
  std::string failure = text_of(render::failed_layers(context.pipeline, context.composition, time));
  if (!failure.empty() && !context.incomplete) return {nullptr, nullptr, std::move(failure)};
  return {image, nullptr, {}};
}

std::vector<cache::frame_request> sources_of_composite(const ksn::state& composition, double time) {
  std::vector<cache::frame_request> list;
  const std::vector<bool> taking_part = render::layers_taking_part(composition);
  for (int i = 0; i < composition.doc.track_count(); ++i) {
    cache::frame_request wanted;
    if (taking_part[static_cast<std::size_t>(i)] && wanted_of(composition.doc.track_at(i), time, false, wanted)) {
      list.push_back(std::move(wanted));
    }
  }
  return list;
}

// Runs the making and writing of pictures. Failures on the way are told with the save, and not beside it.
template <class Work>
bool reporting_failures(context& context, const target& target, const Work& work) {
  const render::pipeline::silence silence(context.pipeline);
  try {
    return work();
  } catch (const std::exception&) {
    context.report_error(io::failure_line(target.path, "Out of memory"));
  }
  return false;
}

template <class Make>
bool save_one(context& context, const target& target, std::size_t bytes, const Make& make) {
  if (!find_memory(context.pipeline.frame_cache(), bytes)) {
    context.report_error(command::about(target.path, too_large_text(bytes)));
    return false;
  }
  const picture picture = make();
  if (!picture) {
    const std::string text = missing_frame_text(context.composition);
    context.report_error(picture.failure.empty() ? command::about(target.path, text)
                                                 : command::about(target.path, text, picture.failure));
    return false;
  }
  const std::string line = write_picture(picture, target.path, *target.format, context.options);
  if (!line.empty()) {
    context.report_error(line);
    return false;
  }
  if (context.after_save) context.after_save(target.path);
  return true;
}

bool save_composite(context& context, const target& target, const render::frame_view& view) {
  return save_one(context, target, composite_bytes(context.composition, view),
                  [&] { return composite_at(context, view, context.time); });
}

bool has_layer(context& context, const char* command, const std::string& path) {
  if (context.composition.doc.selected_index() < context.composition.doc.track_count()) return true;
  context.report_error(command::about(std::string("--") + command + "=" + path, command::option_needs_layer));
  return false;
}

}  // namespace

bool may_save_layer_as(context& context, const std::string& path) {
  target target;
  return has_layer(context, "save_layer_as", path) && open_target(context, path, target, true);
}

bool may_save_mask_as_sequence(context& context, const std::string& path) {
  target target;
  return open_target(context, path, target, true);
}

bool save_frame_as(context& context, const std::string& path) {
  target target;
  if (!has_layer(context, "save_frame_as", path) || !open_target(context, path, target)) return false;
  return reporting_failures(context, target, [&] {
    layer_source layer(context, context.composition.doc.selected_index(), target);
    return save_one(context, target, layer.bytes(), [&] { return layer.make(context.time); });
  });
}

bool save_layer_as(context& context, const std::string& path) {
  target target;
  if (!has_layer(context, "save_layer_as", path) || !open_target(context, path, target, true)) return false;
  return reporting_failures(context, target, [&] {
    const int index = context.composition.doc.selected_index();
    layer_source layer(context, index, target);
    return save_walk(context, target,
                     {.make = [&](int frame) { return layer.make(frame); },
                      .sources = [&](int frame) { return layer.sources(frame); },
                      .layers = layers_of_layer(context.composition, index),
                      .frame_bytes = layer.bytes(),
                      .heard = {index}});
  });
}

bool save_mask_as_image(context& context, const std::string& path) {
  target target;
  if (!open_target(context, path, target)) return false;
  return reporting_failures(context, target, [&] { return save_composite(context, target, output_of(context)); });
}

bool save_mask_as_sequence(context& context, const std::string& path) {
  target target;
  if (!open_target(context, path, target, true)) return false;
  return reporting_failures(context, target, [&] {
    return save_walk(context, target,
                     {.make = [&](int frame) { return composite_at(context, output_of(context), frame); },
                      .sources = [&](int frame) { return sources_of_composite(context.composition, frame); },
                      .layers = layers_of_composite(context.composition),
                      .frame_bytes = composite_bytes(context.composition, output_of(context)),
                      .is_composite = true,
                      .alpha = context.composition.doc.back_color == ksn::back_color_type::transparent,
                      .heard = audible_layers(context.composition)});
  });
}

bool save_screen_as(context& context, const std::string& path, int client_width, int client_height) {
  target target;
  if (!open_target(context, path, target)) return false;
  return reporting_failures(context, target, [&] {
    return save_composite(context, target, saved_screen(context.composition, client_width, client_height));
  });
}

}  // namespace save
