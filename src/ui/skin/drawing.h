// Art and text for painters.
#pragma once

#include <array>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "text/fonts.h"
#include "ui/skin/skin.h"
#include "ui/toolkit/painter.h"

namespace ui {

// The bundles of both scales, each read when its first picture is asked for. Pictures are asked for by the main thread.
class skins {
 public:
  // `report` takes the error line of a bundle that can't be read; it may be empty.
  explicit skins(std::function<void(const std::string& line)> report = {}) : report_(std::move(report)) {}
  const img::image* image(std::string_view name, int scale);
  // Reads the bundle of a scale, on a thread that has nothing else to do. What fails is told with the first picture.
  void prepare(int scale);

 private:
  std::mutex lock_;  // all of the below but `report_`
  std::function<void(const std::string&)> report_;
  std::array<skin, 2> bundles_;
  std::array<bool, 2> tried_{};
  std::array<std::string, 2> errors_;  // until they are told
  const skin& loaded(int scale);
};

// The functions that a painter draws with. Both arguments outlive the functions.
drawing_functions drawing_with(skins& skins, text::fonts& fonts);

}  // namespace ui
