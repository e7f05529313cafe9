#include "img/formats/tiff/metadata.h"

#include "img/formats/shared/exif.h"
#include "img/formats/shared/icc_name.h"
#include "img/formats/shared/metadata_text.h"
#include "img/formats/shared/orientation.h"
#include "io/exceptions.h"

namespace img {
namespace {

// Of TIFF itself, beside what Exif has too (TIFF 6.0).
const char* name_of(int tag) {
  switch (tag) {
    case 269:
      return "document_name";
    case 285:
      return "page_name";
    case 316:
      return "host_computer";
    default:
      return exif_name_of(static_cast<std::uint32_t>(tag));
  }
}

std::string value_text(const tiff_file& file, const tiff_entry& entry) {
  constexpr int ascii = 2;
  constexpr int exposure_time = 33434;
  if (entry.type == ascii) return file.text(entry);
  std::string text;
  for (const double value : file.reals(entry, 4)) {
    const bool is_fraction = entry.tag == exposure_time && value > 0 && value < 1;
    text += (text.empty() ? "" : " ") + (is_fraction ? print("1/%.4g", 1 / value) : print("%.10g", value));
  }
  return text;
}

// Resolution has a line of its own, and the orientation is applied.
void take_named(const tiff_file& file, const std::vector<tiff_entry>& entries, image_info& info) {
  for (const tiff_entry& entry : entries) {
    const char* name = name_of(entry.tag);
    if (!name || entry.tag == 274 || entry.tag == 282 || entry.tag == 283 || entry.tag == 296) continue;
    const std::string text = value_text(file, entry);
    if (!text.empty()) info.metadata[name] = text;
  }
}

// Pixels along a unit of length, across and down; false where the file does not tell both.
bool read_resolution(const tiff_file& file, const std::vector<tiff_entry>& entries, double& across, double& down) {
  const tiff_entry* x = find_entry(entries, 282);
  const tiff_entry* y = find_entry(entries, 283);
  if (!x || !y) return false;
  const std::vector<double> xs = file.reals(*x, 1), ys = file.reals(*y, 1);
  if (xs.empty() || ys.empty() || !(xs[0] > 0) || !(ys[0] > 0)) return false;
  across = xs[0];
  down = ys[0];
  return true;
}

void take_resolution(const tiff_file& file, const std::vector<tiff_entry>& entries, image_info& info) {
  double across = 0, down = 0;
  if (!read_resolution(file, entries, across, down)) return;
  const tiff_entry* unit = find_entry(entries, 296);
  const std::vector<std::uint64_t> units = unit ? file.numbers(*unit, 1) : std::vector<std::uint64_t>();
  const std::uint64_t code = units.empty() ? 2 : units[0];
  const char* const name = code == 2 ? " dpi" : code == 3 ? " dots/cm" : "";
  info.metadata["resolution"] = print("%.10g x %.10g", across, down) + name;
}

}  // namespace

double tiff_pixel_aspect(const tiff_file& file, const tiff_picture& picture) {
  double across = 0, down = 0;
  if (!read_resolution(file, file.read_directory(picture.position), across, down)) return 0;
  return swaps_sides(picture.orientation) ? across / down : down / across;
}

void take_tiff_metadata(const tiff_file& file, std::int64_t position, image_info& info) {
  const std::vector<tiff_entry> entries = file.read_directory(position);
  take_named(file, entries, info);
  take_resolution(file, entries, info);
  if (const tiff_entry* exif = find_entry(entries, 34665)) {
    const std::vector<std::uint64_t> at = file.numbers(*exif, 1);
    try {
      if (!at.empty()) take_named(file, file.read_directory(static_cast<std::int64_t>(at[0])), info);
    } catch (const io::exception&) {
      // A picture is shown all the same when what is told beside it is damaged.
    }
  }
  if (const tiff_entry* xmp = find_entry(entries, 700)) {
    const std::vector<std::uint8_t> text = file.bytes(*xmp, 64 << 10);
    if (!text.empty()) info.metadata["xmp"] = valid_utf8({reinterpret_cast<const char*>(text.data()), text.size()});
  }
  if (const tiff_entry* profile = find_entry(entries, 34675)) {
    const std::vector<std::uint8_t> bytes = file.bytes(*profile, 16 << 20);
    const std::string name = icc_name(bytes);
    if (!name.empty()) info.metadata["icc_profile"] = name;
  }
}

}  // namespace img
