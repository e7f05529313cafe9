#include "img/formats/dpx/names.h"

#include <cstddef>

namespace img {
namespace {

struct value_name {
  unsigned value;
  const char* name;
};

template <std::size_t Count>
const char* find(const value_name (&names)[Count], unsigned value) {
  for (const value_name& n : names) {
    if (n.value == value) return n.name;
  }
  return "reserved";
}

}  // namespace

const char* dpx_orientation_name(unsigned value) {
  static constexpr value_name names[] = {{0, "left to right, top to bottom"}, {1, "right to left, top to bottom"},
                                         {2, "left to right, bottom to top"}, {3, "right to left, bottom to top"},
                                         {4, "top to bottom, left to right"}, {5, "top to bottom, right to left"},
                                         {6, "bottom to top, left to right"}, {7, "bottom to top, right to left"}};
  return find(names, value);
}

const char* cineon_orientation_name(unsigned value) {
  // Bits 0 and 1 stand the other way round than in DPX.
  static constexpr unsigned dpx_order[] = {0, 2, 1, 3, 4, 6, 5, 7};
  return dpx_orientation_name(value < 8 ? dpx_order[value] : value);
}

const char* dpx_descriptor_name(unsigned value) {
  static constexpr value_name names[] = {{0, "user defined"},    {1, "red"},
                                         {2, "green"},           {3, "blue"},
                                         {4, "alpha"},           {6, "luma"},
                                         {7, "chrominance"},     {8, "depth"},
                                         {9, "composite video"}, {50, "RGB"},
                                         {51, "RGBA"},           {52, "ABGR"},
                                         {100, "CbYCrY 4:2:2"},  {101, "CbYACrYA 4:2:2:4"},
                                         {102, "CbYCr 4:4:4"},   {103, "CbYCrA 4:4:4:4"}};
  if (value >= 150 && value <= 156) return "user defined";
  return find(names, value);
}

const char* dpx_characteristic_name(unsigned value) {
  static constexpr value_name names[] = {{0, "user defined"},
                                         {1, "printing density"},
                                         {2, "linear"},
                                         {3, "unspecified logarithmic"},
                                         {4, "unspecified video"},
                                         {5, "SMPTE 274M"},
                                         {6, "ITU-R 709-4"},
                                         {7, "ITU-R 601-5 B/G (625)"},
                                         {8, "ITU-R 601-5 M (525)"},
                                         {9, "NTSC (SMPTE 170M)"},
                                         {10, "PAL (ITU-R 624-4)"},
                                         {11, "linear depth"},
                                         {12, "homogeneous depth"}};
  return find(names, value);
}

const char* dpx_packing_name(unsigned value) {
  static constexpr value_name names[] = {{0, "packed"}, {1, "filled, method A"}, {2, "filled, method B"}};
  return find(names, value);
}

const char* dpx_encoding_name(unsigned value) {
  static constexpr value_name names[] = {{0, "none"}, {1, "run-length"}};
  return find(names, value);
}

const char* dpx_interlace_name(unsigned value) {
  static constexpr value_name names[] = {{0, "progressive"}, {1, "2:1 interlaced"}};
  return find(names, value);
}

const char* dpx_video_standard_name(unsigned value) {
  static constexpr value_name names[] = {{0, "undefined"},
                                         {1, "NTSC"},
                                         {2, "PAL"},
                                         {3, "PAL-M"},
                                         {4, "SECAM"},
                                         {50, "525 lines, 2:1 interlaced, 4:3"},
                                         {51, "625 lines, 2:1 interlaced, 4:3"},
                                         {100, "525 lines, 2:1 interlaced, 16:9"},
                                         {101, "625 lines, 2:1 interlaced, 16:9"},
                                         {150, "1050 lines, 2:1 interlaced, 16:9"},
                                         {151, "1125 lines, 2:1 interlaced, 16:9 (SMPTE 274M)"},
                                         {152, "1250 lines, 2:1 interlaced, 16:9"},
                                         {153, "1125 lines, 2:1 interlaced, 16:9 (SMPTE 240M)"},
                                         {200, "525 lines, progressive, 16:9"},
                                         {201, "625 lines, progressive, 16:9"},
                                         {202, "750 lines, progressive, 16:9 (SMPTE 296M)"},
                                         {203, "1125 lines, progressive, 16:9 (SMPTE 274M)"}};
  return find(names, value);
}

}  // namespace img
