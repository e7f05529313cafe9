// Values that the help shows in its examples.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "command/action.h"
#include "command/field.h"

namespace command {

// A value as a user would give it to the action or field of that name, or made from the form where that says enough.
// `shape` is that of a field, null for an action. A value that is a file or a name is one that need not be there.
std::string example_value(std::string_view name, const std::string& form, const value_shape* shape);

// A file that an action may be given.
std::string example_file(const file_question& question);

// "0|1" and "nearest|smooth" are lists of words, "PATH" and "X,Y" are not.
std::vector<std::string> words_in(const std::string& form);

}  // namespace command
