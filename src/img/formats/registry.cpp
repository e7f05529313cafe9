// Every still-image format and its file extensions. A new format is `const img::format& NAME_format()` in
// formats/NAME/format.cpp and its line in the list below.
#include <map>
#include <string>
#include <string_view>

#include "img/format.h"
#include "io/exceptions.h"
#include "lib/paths.h"

// built(NAME, extensions...), planned(NAME, "name for messages", extensions...) and unknown(NAME, extensions...), whose
// layout nobody has described; the extensions in lower case.
// clang-format off
#define KSN_FORMATS(built, planned, unknown)                \
  built(bmp, "bmp", "dib")                                  \
  planned(dds, "DDS", "dds")                                \
  planned(dng, "DNG", "dng")                                \
  built(dpx, "dpx", "cin")                                  \
  built(exr, "exr", "sxr")                                  \
  built(hdr, "hdr")                                         \
  planned(iff, "IFF", "iff")                                \
  built(jpeg, "jpg", "jpeg")                                \
  planned(pic, "Softimage PIC", "pic")                      \
  built(png, "png")                                         \
  built(psd, "psd")                                         \
  unknown(qzimg, "qzimg")                                   \
  planned(rla, "RLA and RPF", "rla", "rpf")                 \
  built(sgi, "sgi", "sgi16", "rgb", "rgb16")                \
  built(tga, "tga")                                         \
  built(tiff, "tiff", "tif", "ftif")                        \
  planned(yuv, "YUV", "yuv")
// clang-format on

namespace img {

#define KSN_DECLARE(name, ...) const format& name##_format();
#define KSN_NOTHING(...)
KSN_FORMATS(KSN_DECLARE, KSN_NOTHING, KSN_NOTHING)
#undef KSN_DECLARE
#undef KSN_NOTHING

namespace {

// A format whose files are known by name alone. Each reading says why it gives nothing.
class unread_format : public format {
 public:
  unread_format(const char* name, const char* refusal) : name_(name), refusal_(refusal) {}
  const char* name() const override { return name_; }
  void read(image&, const std::string& path, const layer&) const override { refuse(path); }
  void list_layers(const std::string& path, std::vector<layer>&) const override { refuse(path); }

 protected:
  [[noreturn]] void refuse(const std::string& path) const { throw io::invalid_format(path, refusal_); }

 private:
  const char* name_;
  const char* refusal_;
};

// One that this build does not have.
class unbuilt_format : public unread_format {
 public:
  using unread_format::unread_format;
  void write(const image&, const std::string& path, const save_options&) const override { refuse(path); }
  void write_float(const float_image&, const std::string& path, const save_options&) const override { refuse(path); }
};

using format_map = std::map<std::string, const format*, std::less<>>;

format_map make_registry() {
  format_map registry;
  auto add = [&](const format& format, std::initializer_list<const char*> extensions) {
    for (const char* extension : extensions) registry[extension] = &format;
  };
#define KSN_BUILT(name, ...) add(name##_format(), {__VA_ARGS__});
#define KSN_PLANNED(name, label, ...)                                                      \
  static const unbuilt_format name(#name, label " files are not supported by this build"); \
  add(name, {__VA_ARGS__});
#define KSN_UNKNOWN(name, ...)                                      \
  static const unread_format name(#name, "Unrecognized file type"); \
  add(name, {__VA_ARGS__});
  KSN_FORMATS(KSN_BUILT, KSN_PLANNED, KSN_UNKNOWN)
#undef KSN_BUILT
#undef KSN_PLANNED
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
