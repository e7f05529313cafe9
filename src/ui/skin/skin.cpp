#include "ui/skin/skin.h"

#include <algorithm>
#include <fstream>
#include <new>
#include <vector>

#include "composition/documents/serialize_image.h"
#include "io/binary_archive.h"
#include "io/buffered.h"
#include "io/exceptions.h"
#include "io/memory_reader.h"
#include "io/packer.h"
#include "lib/paths.h"
#include "platform/folders.h"
#include "render/blend.h"

namespace ui {
namespace {

constexpr int most_elements = 1 << 20;                        // lists, rows and names of a bundle
constexpr int largest_side = 4096;                            // pixels of a picture
constexpr std::size_t largest_bundle = std::size_t{1} << 20;  // bytes, packed

}  // namespace

bool skin::load(const void* data, std::size_t size) {
  images_.clear();
  if (size > largest_bundle) return false;
  try {
    io::memory_reader bytes(data, size);
    io::unpacker unpacked(bytes);
    io::buffered_reader buffer(unpacked);
    io::binary_iarchive archive(buffer);
    archive.limit_elements(most_elements);
    archive.read_header();
    std::map<std::string, ksn::image_record> records;
    archive.field("images", records);
    // The sum at the end of the stream is looked at when its end is read.
    std::uint8_t more = 0;
    if (buffer.read(&more, 1) != 0) return false;
    for (auto& [name, record] : records) {
      const img::image_ptr& picture = record.picture;
      if (!picture || picture->width > largest_side || picture->height > largest_side) continue;
      if (picture->format[0] != 'B' || picture->depth[0] != 8) continue;
      images_.emplace(name, picture);
    }
    return true;
  } catch (const io::exception&) {
  } catch (const std::bad_alloc&) {
  }
  images_.clear();
  return false;
}

bool skin::load_for_scale(int scale, std::string& error) {
  images_.clear();
  std::string folder;
  platform::get_folder(platform::folder_kind::config, false, folder);
  const std::string path = lib::add_separator(folder) + (scale >= 2 ? "skin_2.ksnskin" : "skin_1.ksnskin");
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    error = '"' + path + "\": the pictures of the interface are missing";
    return false;
  }
  file.seekg(0, std::ios::end);
  std::vector<char> bytes(static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0)));
  file.seekg(0);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (load(bytes.data(), bytes.size())) return true;
  error = '"' + path + "\": the pictures of the interface are damaged";
  return false;
}

const img::image* skin::image(std::string_view name) const {
  const auto found = images_.find(name);
  return found == images_.end() ? nullptr : found->second.get();
}

void skin::for_each(const std::function<void(const std::string&, const img::image&)>& call) const {
  for (const auto& [name, image] : images_) call(name, *image);
}

void draw_image(img::image& target, const img::image* image, math::point position, const math::rectangle* clip) {
  if (!image) return;
  render::blend_mode over;
  over.alpha = ksn::alpha_type::normal;
  render::blend_image(target, *image, position, over, clip);
}

}  // namespace ui
