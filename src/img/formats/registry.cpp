// Every still-image format and its file extensions. A new format is `const img::format& NAME_format()` in
// formats/NAME/format.cpp and its line in the list below.
#include <map>
#include <string>
#include <string_view>

#include "img/format.h"
#include "io/exceptions.h"
#include "lib/paths.h"

// built(NAME, extensions...), and unknown(NAME, extensions...), whose layout nobody has described; the extensions in
// lower case.
// clang-format off
#define KSN_FORMATS(built, unknown)               \
  built(bmp, "bmp", "dib")                        \
  built(dds, "dds")                               \
  built(dng, "dng")                               \
  built(dpx, "dpx", "cin")                        \
  built(exr, "exr", "sxr")                        \
  built(float_tiff, "ftif")                       \
  built(hdr, "hdr")                               \
  built(iff, "iff")                               \
  built(jpeg, "jpg", "jpeg")                      \
  built(pic, "pic")                               \
  built(png, "png")                               \
  built(psd, "psd")                               \
  unknown(qzimg, "qzimg")                         \
  built(rla, "rla", "rpf")                        \
  built(sgi, "sgi", "sgi16", "rgb", "rgb16", "bw") \
  built(tga, "tga")                               \
  built(tiff, "tiff", "tif")                      \
  built(yuv, "yuv")
// clang-format on

namespace img {

#define KSN_DECLARE(name, ...) const format& name##_format();
#define KSN_NOTHING(...)
KSN_FORMATS(KSN_DECLARE, KSN_NOTHING)
#undef KSN_DECLARE
#undef KSN_NOTHING

namespace {

// A format whose files are known by name alone. Each reading says so.
class unread_format : public format {
 public:
  explicit unread_format(const char* name) : name_(name) {}
  const char* name() const override { return name_; }
  void read(image&, const std::string& path, const layer&) const override { refuse(path); }
  void list_layers(const std::string& path, std::vector<layer>&) const override { refuse(path); }

 private:
  [[noreturn]] static void refuse(const std::string& path) { throw io::invalid_format(path, "Unrecognized file type"); }
  const char* name_;
};

using format_map = std::map<std::string, const format*, std::less<>>;

format_map make_registry() {
  format_map registry;
  auto add = [&](const format& format, std::initializer_list<const char*> extensions) {
    for (const char* extension : extensions) registry[extension] = &format;
  };
#define KSN_BUILT(name, ...) add(name##_format(), {__VA_ARGS__});
#define KSN_UNKNOWN(name, ...)            \
  static const unread_format name(#name); \
  add(name, {__VA_ARGS__});
  KSN_FORMATS(KSN_BUILT, KSN_UNKNOWN)
#undef KSN_BUILT
#undef KSN_UNKNOWN
  return registry;
}

}  // namespace

const format* find_format(const std::string& path, const char* type) {
  static const format_map registry = make_registry();
  std::string_view extension;
  if (type) {
    extension = type;
  } else {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos) return nullptr;
    extension = std::string_view(path).substr(dot + 1);
  }
  const auto found = registry.find(lib::to_lower(extension));
  return found == registry.end() ? nullptr : found->second;
}

}  // namespace img
