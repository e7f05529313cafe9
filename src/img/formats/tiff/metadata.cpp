#include "img/formats/tiff/metadata.h"

#include "img/formats/shared/icc_name.h"
#include "img/formats/shared/metadata_text.h"
#include "io/exceptions.h"

namespace img {
namespace {

struct named_tag {
  int tag;
  const char* name;
};

constexpr named_tag text_tags[] = {
    {269, "DocumentName"}, {270, "ImageDescription"}, {271, "Make"},   {272, "Model"},        {285, "PageName"},
    {305, "Software"},     {306, "DateTime"},         {315, "Artist"}, {316, "HostComputer"}, {33432, "Copyright"},
};
// Exif 2.3, tables 7 and 8.
constexpr named_tag exif_tags[] = {
    {33434, "ExposureTime"},
    {33437, "FNumber"},
    {34850, "ExposureProgram"},
    {34855, "ISOSpeedRatings"},
    {36867, "DateTimeOriginal"},
    {36868, "DateTimeDigitized"},
    {37380, "ExposureBiasValue"},
    {37383, "MeteringMode"},
    {37385, "Flash"},
    {37386, "FocalLength"},
    {41989, "FocalLengthIn35mmFilm"},
    {42035, "LensMake"},
    {42036, "LensModel"},
};

std::string value_text(const tiff_file& file, const tiff_entry& entry) {
  constexpr int ascii = 2;
  if (entry.type == ascii) return file.text(entry);
  std::string text;
  for (const double value : file.reals(entry, 4)) text += (text.empty() ? "" : " ") + print("%.10g", value);
  return text;
}

template <std::size_t Count>
void take_named(const tiff_file& file, const std::vector<tiff_entry>& entries, const named_tag (&tags)[Count],
                image_info& info) {
  for (const named_tag& named : tags) {
    const tiff_entry* entry = find_entry(entries, named.tag);
    const std::string text = entry ? value_text(file, *entry) : std::string();
    if (!text.empty()) info.metadata[named.name] = text;
  }
}

void take_resolution(const tiff_file& file, const std::vector<tiff_entry>& entries, image_info& info) {
  const tiff_entry* x = find_entry(entries, 282);
  const tiff_entry* y = find_entry(entries, 283);
  if (!x || !y) return;
  const std::vector<double> across = file.reals(*x, 1), down = file.reals(*y, 1);
  if (across.empty() || down.empty() || across[0] <= 0 || down[0] <= 0) return;
  const tiff_entry* unit = find_entry(entries, 296);
  const std::vector<std::uint64_t> units = unit ? file.numbers(*unit, 1) : std::vector<std::uint64_t>();
  const std::uint64_t code = units.empty() ? 2 : units[0];
  const char* const name = code == 2 ? " per inch" : code == 3 ? " per centimetre" : "";
  info.metadata["Resolution"] = print("%.10g x %.10g", across[0], down[0]) + name;
}

}  // namespace

void take_tiff_metadata(const tiff_file& file, std::int64_t position, image_info& info) {
  const std::vector<tiff_entry> entries = file.read_directory(position);
  take_named(file, entries, text_tags, info);
  take_named(file, entries, exif_tags, info);
  take_resolution(file, entries, info);
  if (const tiff_entry* exif = find_entry(entries, 34665)) {
    const std::vector<std::uint64_t> at = file.numbers(*exif, 1);
    try {
      if (!at.empty()) take_named(file, file.read_directory(static_cast<std::int64_t>(at[0])), exif_tags, info);
    } catch (const io::exception&) {
      // A picture is shown all the same when what is told beside it is damaged.
    }
  }
  if (const tiff_entry* xmp = find_entry(entries, 700)) {
    const std::vector<std::uint8_t> text = file.bytes(*xmp, 64 << 10);
    if (!text.empty()) info.metadata["XMP"] = valid_utf8({reinterpret_cast<const char*>(text.data()), text.size()});
  }
  if (const tiff_entry* profile = find_entry(entries, 34675)) {
    const std::vector<std::uint8_t> bytes = file.bytes(*profile, 16 << 20);
    const std::string name = icc_name(bytes);
    if (!name.empty()) info.metadata["ICCProfile"] = name;
  }
}

}  // namespace img
