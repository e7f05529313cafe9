// Art and text for painters.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "text/fonts.h"
#include "ui/skin/skin.h"
#include "ui/toolkit/painter.h"

namespace ui {

// The bundles of both scales, each read when its first picture is asked for. Main thread.
class skins {
 public:
  // `report` takes the error line of a bundle that can't be read; it may be empty.
  explicit skins(std::function<void(const std::string& line)> report = {}) : report_(std::move(report)) {}
  const img::image* image(std::string_view name, int scale);

 private:
  std::function<void(const std::string&)> report_;
  std::array<skin, 2> bundles_;
  std::array<bool, 2> tried_{};
};

// The functions that a painter draws with. Both arguments outlive the functions.
drawing_functions drawing_with(skins& skins, text::fonts& fonts);

}  // namespace ui
