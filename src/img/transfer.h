// A layer's colour settings, and the tables that turn any decoded picture into 8-bit display-ready planes or floats.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "img/image.h"
#include "img/lookup/table.h"

namespace img {

// The settings alone: plain data that the document keeps, copies and compares. Index 0 of the triples is blue, 1
// green, 2 red.
struct correction {
  int color_space = 0;         // 0 default, 1 linear, 2 sRGB
  bool nonlog_cineon = false;  // stored, not consulted by the conversions
  std::string lookup;          // name of the lookup file
  img::lookup_table lookup_table;
  std::array<int, 3> exposure{0, 0, 0};          // hundredths of a stop
  int temperature = 6600;                        // kelvin
  std::array<int, 3> lift{0, 0, 0};              // thousandths
  std::array<int, 3> gamma{100, 100, 100};       // hundredths, the exponent as it stands
  std::array<int, 3> gain{100, 100, 100};        // percent
  std::array<int, 3> brightness{0, 0, 0};        // thousandths
  std::array<int, 3> contrast{0, 0, 0};          // hundredths of a stop
  int soft_clip = 0;                             // hundredths of a stop, 0 off
  std::array<int, 3> hue{0, 0, 0};               // degrees
  std::array<int, 3> saturation{100, 100, 100};  // percent
  bool disable_cc = false;                       // ignore the corrections, keep space and lookup
  // Of the view, in hundredths of a stop: the last step before the picture has 8 bits, whatever is disabled. Never
  // stored.
  std::array<int, 3> shown_exposure{0, 0, 0};

  bool operator==(const correction&) const = default;
};

class transfer_tables;

// A correction with its tables, which are built on first use. One thread at a time; copies take the settings and
// build tables of their own.
class transfer {
 public:
  transfer();
  explicit transfer(const correction& settings);
  transfer(const transfer& other);
  transfer(transfer&&) noexcept;
  transfer& operator=(const transfer& other);
  transfer& operator=(transfer&&) noexcept;
  ~transfer();

  const correction& settings() const { return settings_; }
  // Takes new settings; tables are dropped when they differ.
  void prepare(const correction& settings);

  // Whether channel c (0 blue, 1 green, 2 red) passes unchanged for a picture whose form has the default space
  // `default_space` (1 linear, 2 sRGB) without a lookup.
  bool is_identity(int channel, int default_space) const;
  bool has_matrix() const;
  // Hash of the cube, 0 when there is none.
  std::uint32_t lookup_hash() const { return settings_.lookup_table.cube_hash(); }

  // Converts in place to an 8-bit image.
  void apply(image& image);
  // The same into a new image; `image` stays as it is. Information is copied. A picture of form `W` (or half planes
  // with the cube applied, `cube_applied`) is not put through the cube again.
  void convert(image& out, const image& image, bool cube_applied = false);
  // To unclamped linear floats; `encode` makes the hue and saturation matrix work on sRGB encoded values.
  void convert_float(float_image& out, const image& image, bool encode, bool cube_applied = false);

  // The 256-entry table of a channel for 8-bit samples, or null when the channel is identity or a cube is set. Valid
  // until the next change of settings.
  const std::uint8_t* byte_table(int channel);
  // Applies this transfer to one row of 8-bit colour samples in place, as apply() does to a whole picture whose row
  // ends at `width`. For adjustment layers, which work on rows of the composite. Needs prepared tables: call
  // prepare_rows() once before, then any thread may call this.
  void prepare_rows();
  void apply_row(std::uint8_t* b, std::uint8_t* g, std::uint8_t* r, int width) const;

 private:
  void convert_bytes(image& out, const image& in);

  correction settings_;
  std::unique_ptr<transfer_tables> tables_;
};

// The cube's result as the frame cache keeps it: `W` words for packed pictures, half planes for all others; a gray
// picture becomes BGR first. Further planes and information are carried. `table` must hold a cube.
void apply_cube(image& out, const image& image, const lookup_table& table);

// A 1024-entry table that states the active space and lookup of `settings`, for export. `cineon` starts from the log
// decode, `srgb` decodes the identity.
lookup_table sample_table(const correction& settings, bool cineon, bool srgb);

// Single steps, in double precision; also what the tables are built from.
double log_decode(int code);       // 10-bit film log code to linear: 95 is 0, 685 is 1
int log_encode(double linear);     // the reverse, 0 to 1023
double srgb_decode(double value);  // IEC 61966-2-1
double srgb_encode(double linear);
double half_to_double(std::uint16_t bits);
std::uint16_t float_to_half(float value);

}  // namespace img
