// Rows of blue, green and red samples to luma and chroma, for movies that are written.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "sources/yuv.h"

namespace sources {

// One row of a colour matrix: out = (blue * b + green * g + red * r + bias) >> shift, held to 0 to `limit`. The bias
// holds the zero level and the half that rounds.
struct matrix_row {
  int32_t blue;
  int32_t green;
  int32_t red;
  int32_t bias;
  int shift;
  int limit;
};

struct yuv_matrix {
  matrix_row y;
  matrix_row u;
  matrix_row v;
};

// The matrix from samples of 0 to `in_max` (65535 at most) to samples of 8 or 10 `bits`, by ITU-T H.273. `red` and
// `blue` are the parts of these primaries in luma (Kr and Kb); `full` says that samples use their whole range. Equal
// blue, green and red give exactly the middle of both chroma ranges.
yuv_matrix make_yuv_matrix(double red, double blue, bool full, int bits, int in_max);

// What halve_8 gives for the greatest sample.
enum { halved_8_max = 16 * 255 };

// Every level gives the same samples. Nothing is read or written past the counts, and nothing needs alignment.
struct yuv_making_rows {
  void (*weigh_8_to_8)(const uint8_t* b, const uint8_t* g, const uint8_t* r, uint8_t* out, const matrix_row* row,
                       size_t count);
  void (*weigh_8_to_16)(const uint8_t* b, const uint8_t* g, const uint8_t* r, uint16_t* out, const matrix_row* row,
                        size_t count);
  void (*weigh_16_to_8)(const uint16_t* b, const uint16_t* g, const uint16_t* r, uint8_t* out, const matrix_row* row,
                        size_t count);
  void (*weigh_16_to_16)(const uint16_t* b, const uint16_t* g, const uint16_t* r, uint16_t* out, const matrix_row* row,
                         size_t count);
  // Two rows, which may be the same one, to one of (width + 1) / 2 samples, chroma_on_left or chroma_between: weights
  // -1 2 6 2 -1 on the left pixel, or 1 1 between both. The first lose less than 1 2 1 where a reader makes each second
  // sample of its neighbours, in a line or a cubic: they are the short filter that belongs to a line (the low pass of
  // the 5/3 wavelet, ITU-T T.800). Samples beyond an edge are those at the edge. Bytes come out times 16, words as
  // words, both held to their range.
  void (*halve_8)(const uint8_t* upper, const uint8_t* lower, uint16_t* out, size_t width, chroma_across across);
  void (*halve_16)(const uint16_t* upper, const uint16_t* lower, uint16_t* out, size_t width, chroma_across across);
};

// The rows for the instruction set in use.
const yuv_making_rows& current_yuv_making_rows();

}  // namespace sources
