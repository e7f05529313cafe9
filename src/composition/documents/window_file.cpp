#include "composition/documents/window_file.h"

#include <cstdint>

#include "composition/documents/shared_file.h"
#include "io/document.h"
#include "lib/paths.h"
#include "platform/folders.h"

namespace ksn {

// A placement in the fields of its file.
struct window_record {
  struct rectangle {
    int left = 0, top = 0, right = 0, bottom = 0;
  };
  std::uint32_t flags = 0;
  std::uint32_t show_command = 1;
  math::point min_position;
  math::point max_position;
  rectangle normal;
};

template <class A>
void serialize(A& ar, window_record::rectangle& v, int) {
  ar.field("left", v.left);
  ar.field("top", v.top);
  ar.field("right", v.right);
  ar.field("bottom", v.bottom);
}

template <class A>
void serialize(A& ar, window_record& v, int) {
  ar.field("flags", v.flags);
  ar.field("showCmd", v.show_command);
  ar.field("ptMinPosition", v.min_position);
  ar.field("ptMaxPosition", v.max_position);
  ar.field("rcNormalPosition", v.normal);
}

namespace {

constexpr const char* root_key = "windowPlacement";

bool window_path(bool create, std::string& path) {
  if (!platform::get_folder(platform::folder_kind::local_data, create, path)) return false;
  path = lib::add_separator(path) + window_file_name;
  return true;
}

platform::window_placement placement_of(const window_record& record) {
  platform::window_placement placement;
  placement.flags = static_cast<int>(record.flags);
  placement.show_command = static_cast<int>(record.show_command);
  placement.min_position = record.min_position;
  placement.max_position = record.max_position;
  placement.left = record.normal.left;
  placement.top = record.normal.top;
  placement.right = record.normal.right;
  placement.bottom = record.normal.bottom;
  return placement;
}

}  // namespace

platform::window_placement read_window_placement(io::xml_iarchive& archive) {
  window_record record;
  archive.field(root_key, record);
  return placement_of(record);
}

bool load_window_placement(platform::window_placement& placement) {
  try {
    std::string path;
    if (!window_path(false, path)) return false;
    window_record record;
    io::load_document(path, root_key, record);
    placement = placement_of(record);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool save_window_placement(const platform::window_placement& placement) {
  std::string path;
  if (!window_path(true, path)) return false;
  const window_record record{static_cast<std::uint32_t>(placement.flags),
                             static_cast<std::uint32_t>(placement.show_command),
                             placement.min_position,
                             placement.max_position,
                             {placement.left, placement.top, placement.right, placement.bottom}};
  return write_shared_file(path, [&] { io::save_document(path, root_key, record); });
}

}  // namespace ksn
