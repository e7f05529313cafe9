#include "command/action.h"

#include <iterator>

namespace command {

std::string_view title_of(action_group group) {
  constexpr std::string_view titles[] = {"File",
                                         "Save",
                                         "Mail",
                                         "Clipboard",
                                         "Desktop",
                                         "Services and cache",
                                         "Window",
                                         "Selection",
                                         "Transport",
                                         "Work area and timeline",
                                         "Layer time",
                                         "View",
                                         "Layer placement",
                                         "Layer state",
                                         "New layers",
                                         "Edit",
                                         "Information and measuring",
                                         "Choices of right-click menus",
                                         "Internal",
                                         "Other"};
  static_assert(std::size(titles) == static_cast<std::size_t>(action_group::other) + 1);
  return titles[static_cast<std::size_t>(group)];
}

}  // namespace command
