// The portable forms of the row kernels. Included by kernel files, so everything here has internal linkage.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace img {
namespace {

[[maybe_unused]] void plain_split3(const uint8_t* pixels, uint8_t* b, uint8_t* g, uint8_t* r, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    b[i] = pixels[3 * i];
    g[i] = pixels[3 * i + 1];
    r[i] = pixels[3 * i + 2];
  }
}

[[maybe_unused]] void plain_split4(const uint8_t* pixels, uint8_t* b, uint8_t* g, uint8_t* r, uint8_t* a,
                                   size_t count) {
  for (size_t i = 0; i < count; ++i) {
    b[i] = pixels[4 * i];
    g[i] = pixels[4 * i + 1];
    r[i] = pixels[4 * i + 2];
    a[i] = pixels[4 * i + 3];
  }
}

[[maybe_unused]] void plain_join3(const uint8_t* b, const uint8_t* g, const uint8_t* r, uint8_t* pixels, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    pixels[3 * i] = b[i];
    pixels[3 * i + 1] = g[i];
    pixels[3 * i + 2] = r[i];
  }
}

[[maybe_unused]] void plain_join4(const uint8_t* b, const uint8_t* g, const uint8_t* r, const uint8_t* a,
                                  uint8_t* pixels, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    pixels[4 * i] = b[i];
    pixels[4 * i + 1] = g[i];
    pixels[4 * i + 2] = r[i];
    pixels[4 * i + 3] = a[i];
  }
}

[[maybe_unused]] void plain_split3_16(const uint16_t* pixels, uint16_t* b, uint16_t* g, uint16_t* r, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    b[i] = pixels[3 * i];
    g[i] = pixels[3 * i + 1];
    r[i] = pixels[3 * i + 2];
  }
}

[[maybe_unused]] void plain_split555(const uint8_t* words, uint8_t* b, uint8_t* g, uint8_t* r, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const unsigned word = words[2 * i] | words[2 * i + 1] << 8;
    const unsigned blue = word & 31, green = word >> 5 & 31, red = word >> 10 & 31;
    b[i] = static_cast<uint8_t>((blue << 3) + (blue >> 2));
    g[i] = static_cast<uint8_t>((green << 3) + (green >> 2));
    r[i] = static_cast<uint8_t>((red << 3) + (red >> 2));
  }
}

template <class T, int step>
void plain_every(const T* source, T* target, size_t count) {
  for (size_t i = 0; i < count; ++i) target[i] = source[step * i];
}

}  // namespace
}  // namespace img
