// The interface to the camera raw library, which is a module of its own: only its files load it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace img {

// A developed picture; rows of red, green and blue, linear, 65535 for the white of the sensor.
struct raw_picture {
  int width = 0;
  int height = 0;
  const std::uint16_t* pixels = nullptr;  // until release()
  void* owner = nullptr;
};

// The functions that the module exports as "kestrin_raw". Nothing throws; a failure returns false and leaves its text
// in `error`, which has room for raw_error_room bytes.
constexpr std::size_t raw_error_room = 256;
struct raw_library_functions {
  // The size of the developed, upright picture.
  bool (*measure)(const char* path, int* width, int* height, char* error);
  // White as the camera set it, the primaries of sRGB, upright.
  bool (*develop)(const char* path, raw_picture* picture, char* error);
  void (*release)(raw_picture* picture);
};
using raw_library_function = const raw_library_functions* (*)();

}  // namespace img
