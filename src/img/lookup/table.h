// Lookup tables: three curves of 1024 entries or a cube of 2 to 129 points a side.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace img {

// A value; copies share the immutable arrays. At most one of the two forms is set.
class lookup_table {
 public:
  static constexpr int least_points = 2;
  static constexpr int most_points = 129;
  static constexpr int curve_entries = 3 * 1024;  // red block, green block, blue block
  // Of a cube of n points a side: index ((r * n + g) * n + b) * 4; nodes blue, green, red.
  static constexpr std::size_t entries_of(int points) { return std::size_t{4} * points * points * points; }
  // The grid that most documents have.
  static constexpr int cube_points = 17;
  static constexpr int cube_entries = 17 * 17 * 17 * 4;

  bool output_srgb3 = false;  // the cube's results are sRGB, not linear
  bool output_srgb1 = false;  // the same for the curves

  bool has_cube() const { return points_ != 0; }
  bool has_curves() const { return table1d_ && table1d_->size() == curve_entries; }
  bool empty() const { return !has_cube() && !has_curves(); }
  // 14-bit fixed values, clamp(rint((v + 0.125) * 4096), 0, 16383); the order of the three values used in a node is
  // blue, green, red. Only with has_cube().
  std::span<const std::uint16_t> cube() const { return *table3d_; }
  std::span<const double> curves() const { return *table1d_; }
  // Points a side of the cube, 0 without one.
  int points() const { return points_; }

  // Clears the other form. The sizes must be curve_entries, and entries_of() of some number of points.
  void set_1d(std::span<const double> values, bool output_srgb);
  void set_3d(std::span<const std::uint16_t> values, bool output_srgb);
  // Stores arrays of any size, as an archive may hold them; another size counts as absent.
  void set_raw(std::vector<std::uint16_t> cube, bool srgb3, std::vector<double> curves, bool srgb1);
  const std::vector<std::uint16_t>& raw_cube() const;
  const std::vector<double>& raw_curves() const;

  // Hash of the cube's contents for frame keys, 0 without one. Computed when the cube is set.
  std::uint32_t cube_hash() const { return cube_hash_; }

  bool operator==(const lookup_table& other) const;

 private:
  std::shared_ptr<const std::vector<std::uint16_t>> table3d_;
  std::shared_ptr<const std::vector<double>> table1d_;
  int points_ = 0;
  std::uint32_t cube_hash_ = 0;
};

// Reads .lut, .3dl, .cms, .cube, .csp, .spi1d, .spi3d, .cc, .ccc and .cdl by extension. Throws the io family
// ("Unrecognized file type" for any other) and leaves `table` as it was.
void load_lookup(const std::string& path, lookup_table& table);
// The reverse for the first four. A cube for .lut raises "This format does not support 3D lookup tables".
void save_lookup(const std::string& path, const lookup_table& table);

}  // namespace img
