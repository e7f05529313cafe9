// The document as option text: commands that make it again.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "command/engine.h"

namespace command {

// Everything of the document and of how it is shown. Every line is one option or a source; run in an empty document the
// lines give the same one, field by field and in its pictures. Settings of the user and places of panels are not part
// of it. Content that no file holds, canvases, pasted pictures, lookup tables, stands in it as text.
std::string option_text(engine& engine);
// These layers alone, indices from the top of the stack, ascending; they come on top of what is there when it is run.
// Nothing is said of an alpha source that is not among them.
std::string layers_as_options(engine& engine, const std::vector<int>& layers);
// The colour correction of a layer: its fields back to neutral, then what is not.
std::string correction_as_options(engine& engine, const ksn::track_info& layer);
// How the R3D decoder develops a layer: all of its fields of colour.
std::string r3d_look_as_options(engine& engine, const ksn::track_info& layer);

// A text as part of a line that the language reads back as it was: quoted, with nothing in it that is expanded. The
// character 0, which the language can't hold, is left out.
std::string quoted(std::string_view text);

// lookup_table_data, new_stored_layer, layer_content: what carries the contents that no file holds. And
// export_composition_as and save_current_look.
void register_export_actions(engine& engine);

}  // namespace command
