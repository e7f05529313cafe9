// A painter that notes what it is asked for, with letters 7 pixels wide and 10 high.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "ui/toolkit/painter.h"

namespace support {

struct drawn {
  std::vector<std::string> art;
  std::vector<std::string> texts;
  img::image picture;
  ui::drawing_functions functions{[this](std::string_view name, int) -> const img::image* {
                                    const std::lock_guard guard(lock);
                                    art.emplace_back(name);
                                    return &dot;
                                  },
                                  [](img::image&, const img::image&, math::point, const math::rectangle*) {},
                                  [](std::string_view text, int, int, std::string_view, int scale) {
                                    return math::point{static_cast<int>(text.size()) * 7 * scale, 10 * scale};
                                  },
                                  [this](img::image&, std::string_view text, std::string_view, int, lib::color,
                                         const ui::text_place&, const math::rectangle*) {
                                    const std::lock_guard guard(lock);
                                    texts.emplace_back(text);
                                  }};

  explicit drawn(int width = 400, int height = 300) : picture("BGR", 8, width, height) { picture.fill(0, 0, 0, 0); }
  ui::painter painter(int scale = 1, const ui::mouse_handler* hot = nullptr) {
    art.clear();
    texts.clear();
    return {picture, functions, scale, hot};
  }
  int red_at(int x, int y) const { return picture.row(2, y)[x]; }

 private:
  std::mutex lock;  // rows are drawn on several threads
  img::image dot{"BGRA", 8, 1, 1};
};

}  // namespace support
