#include "render/layer_state.h"

#include "render/channels.h"
#include "render/image_pool.h"
#include "render/keyer.h"

namespace render {
namespace {

constexpr int srgb_space = 2;

bool passes_unchanged(const img::transfer& transfer, const recipe& recipe, const img::image& native) {
  return !native.is_packed() && native.depth[0] == 8 && planes_in_place(native) && !recipe.has_key() &&
         recipe.channels == ksn::view_type::rgb && transfer.settings().lookup_table.empty() &&
         transfer.is_identity(0, srgb_space) && transfer.is_identity(1, srgb_space) &&
         transfer.is_identity(2, srgb_space) && !transfer.has_matrix();
}

void convert_channels(img::image& out, const img::image& native, ksn::view_type channels, img::transfer& transfer,
                      bool cube_applied) {
  if (channels == ksn::view_type::rgb) {
    transfer.convert(out, native, cube_applied);
  } else {
    const img::image_ptr copy = pooled_image();
    *copy = native;
    select_channels(*copy, channels);
    transfer.convert(out, *copy, cube_applied);
  }
  place_planes(out);
}

void prepare_key_transfers(layer_state& state, const img::correction& correction) {
  img::correction input = correction;
  input.disable_cc = true;
  img::correction output = correction;
  output.lookup.clear();
  output.lookup_table = {};
  output.color_space = 0;
  if (!state.key_input) {
    state.key_input.emplace(input);
    state.key_output.emplace(output);
  } else {
    state.key_input->prepare(input);
    state.key_output->prepare(output);
  }
}

}  // namespace

img::const_image_ptr develop(layer_state& state, const recipe& recipe, const img::const_image_ptr& native,
                             bool cube_applied) {
  state.transfer.prepare(recipe.correction);
  if (passes_unchanged(state.transfer, recipe, *native)) return native;
  const img::image_ptr picture = pooled_image();
  if (recipe.has_key()) {
    prepare_key_transfers(state, recipe.correction);
    convert_channels(*picture, *native, recipe.channels, *state.key_input, cube_applied);
    apply_keys(*picture, recipe.primary, recipe.secondary);
    state.key_output->apply(*picture);
  } else {
    convert_channels(*picture, *native, recipe.channels, state.transfer, cube_applied);
  }
  return picture;
}

}  // namespace render
