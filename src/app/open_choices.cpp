#include "app/open_choices.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "app/preview_maker.h"
#include "command/engine.h"
#include "composition/opening/folder_rows.h"
#include "composition/opening/sequence.h"
#include "composition/state.h"
#include "img/format.h"
#include "lib/paths.h"
#include "platform/files.h"
#include "render/fitted.h"
#include "render/image_pool.h"
#include "sources/movie_codec.h"

namespace app {
namespace {

// For the sizes of the files of a folder, of which only the first ones count on a slow server.
constexpr std::chrono::milliseconds size_patience(150);
constexpr std::size_t most_places = 8;

// The extensions of patterns like "*.exr"; none where one of them lets all through.
std::vector<std::string> extensions_of(const std::vector<std::string>& patterns) {
  std::vector<std::string> extensions;
  for (const std::string& pattern : patterns) {
    if (!pattern.starts_with("*.")) return {};
    extensions.push_back(lib::to_lower(pattern.substr(2)));
  }
  return extensions;
}

std::vector<platform::open_row> rows_of(const std::string& folder, const std::vector<std::string>& patterns,
                                        std::string& error) {
  std::vector<ksn::folder_row> found;
  if (const int number = ksn::list_rows(folder, extensions_of(patterns), size_patience, found); number != 0)
    error = std::strerror(number);
  std::vector<platform::open_row> rows;
  rows.reserve(found.size());
  for (ksn::folder_row& row : found) {
    rows.push_back({std::move(row.name), lib::add_separator(folder) + row.first, ksn::frames_text(row), row.is_folder,
                    row.bytes, row.about, row.changed});
  }
  return rows;
}

// The layer that a path would be, without its sound; false where it has no pictures.
bool open_pictures(ksn::state& composition, ksn::track_info& record, const std::string& path) {
  if (img::is_image_file(path)) {
    return ksn::add_single_image(path, record, ksn::alpha_type::ignore,
                                 [&](const std::string& line) { composition.report_error(line); });
  }
  const std::string extension = lib::lower_extension(path);
  using sources::clip_kind;
  std::vector<clip_kind> kinds;
  if (extension == "cine") kinds = {clip_kind::phantom_cine};
  if (extension == "r3d") kinds = {clip_kind::r3d};
  if (extension == "avi") kinds = {clip_kind::avi};
  if (sources::is_movie_extension(extension) && extension != "avi")
    kinds = {clip_kind::quicktime, clip_kind::directshow};
  for (const clip_kind kind : kinds) {
    sources::open_result result = sources::open_clip(kind, path, composition.doc.fpcs);
    if (!result.opened) continue;
    record.source.type = static_cast<ksn::source_type>(kind);
    record.source.path = path;
    record.source.frames = result.opened->frames();
    record.source.width = result.opened->width();
    record.source.height = result.opened->height();
    record.source.clip = std::move(result.opened);
    record.look.visible = true;
    return true;
  }
  return false;
}

std::vector<std::uint8_t> packed(const img::image& picture) {
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(picture.width) * picture.height * 4, 255);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      std::uint8_t* pixel = pixels.data() + (static_cast<std::size_t>(y) * picture.width + x) * 4;
      for (int plane = 0; plane < 3; ++plane) pixel[plane] = picture.row(plane, y)[x];
    }
  }
  return pixels;
}

bool something_at(const std::string& path) {
  if (platform::file_exists(path) || platform::is_folder(path)) return true;
  std::string pattern;
  const std::string numbered = command::source_path(path);
  if (!img::is_image_file(numbered) || numbered.find_first_of("#?*") == numbered.npos) return false;
  ksn::track_info record;
  return ksn::build_pattern(numbered, pattern) &&
         ksn::scan_folder(pattern, record, ksn::alpha_type::ignore, false, {}) != ksn::scan_result::nothing;
}

}  // namespace

platform::open_preview preview_of(const std::string& path, int width, int height) {
  platform::open_preview made;
  try {
    ksn::state composition;
    std::string line;
    composition.hooks.report_error = [&](const std::string& said) { line = said; };
    ksn::track_info record;
    if (!open_pictures(composition, record, path)) return made;
    const int w = record.source.width;
    const int h = record.source.height;
    made.text = std::to_string(w) + " x " + std::to_string(h);
    if (record.source.frames > 1) made.text += ", " + std::to_string(record.source.frames) + " frames";
    composition.doc.mask_size = {std::max(w, 1), std::max(h, 1)};
    composition.doc.tracks.push_back(std::move(record));
    cache::frame_cache frames;
    render::pipeline_options options;
    options.use_cache = false;
    options.report_error = composition.hooks.report_error;
    render::pipeline pipeline(frames, options);
    const double scale =
        std::min({1.0, width / static_cast<double>(std::max(w, 1)), height / static_cast<double>(std::max(h, 1))});
    const math::point size{std::max(static_cast<int>(w * scale), 1), std::max(static_cast<int>(h * scale), 1)};
    const img::image_ptr picture = render::render_fitted(pipeline, composition, size, 0.0);
    if (!line.empty()) {
      made.text = line;
      return made;
    }
    made.pixels = packed(*picture);
    made.width = picture->width;
    made.height = picture->height;
  } catch (const std::exception& failure) {
    made.text = failure.what();
  }
  return made;
}

platform::open_form make_open_form(const std::function<std::string(std::string_view key)>& text,
                                   const std::vector<std::string>& folders, preview_maker* previews) {
  platform::open_form form;
  form.list = rows_of;
  if (previews) {
    form.preview = [previews](const std::string& path, int width, int height, auto done) {
      previews->ask(path, width, height, std::move(done));
    };
  }
  form.exists = something_at;
  const char* home = std::getenv("HOME");
  if (home && *home) form.places.emplace_back(text("open_form_home"), home);
  form.places.emplace_back("/", "/");
  for (const std::string& folder : folders) {
    const std::string path = lib::remove_separator(folder);
    const bool known = std::ranges::any_of(form.places, [&](const auto& place) { return place.second == path; });
    if (!known && !path.empty() && form.places.size() < most_places)
      form.places.emplace_back(lib::file_name(path), path);
  }
  form.name_column = text("open_form_name");
  form.frames_column = text("open_form_frames");
  form.size_column = text("open_form_size");
  form.changed_column = text("open_form_changed");
  form.name_label = text("open_form_file");
  form.nothing_there = text("open_form_nothing");
  return form;
}

}  // namespace app
