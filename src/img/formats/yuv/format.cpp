// Raw frames of luma and two differences (ITU-R BT.601 and BT.709, 8 bits). Nothing in the file tells size or layout:
// the number of its bytes does, for the sizes of film and television, or else a size in the name.
#include "img/format.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <vector>

#include "img/formats/shared/parallel_tasks.h"
#include "io/exceptions.h"
#include "io/file.h"
#include "lib/paths.h"

namespace img {
namespace {

constexpr std::int64_t most_at_once = 1 << 30;  // bytes of a read

enum class layout {
  planes_420,  // luma, then each difference at half its width and height
  words_422,   // blue difference, luma, red difference, luma
  planes_444,
};

struct yuv_frame {
  int width = 0;
  int height = 0;
  layout kind = layout::planes_420;

  std::int64_t bytes() const {
    const std::int64_t pixels = static_cast<std::int64_t>(width) * height;
    if (kind == layout::planes_444) return 3 * pixels;
    if (kind == layout::words_422) return 2 * pixels;
    return pixels + 2 * (static_cast<std::int64_t>((width + 1) / 2) * ((height + 1) / 2));
  }
};

constexpr layout layouts[] = {layout::planes_420, layout::words_422, layout::planes_444};
constexpr std::array<int, 2> known_sizes[] = {
    {176, 144},  {352, 240},   {352, 288},   {352, 480},   {640, 480},   {704, 480},   {704, 576},   {720, 480},
    {720, 486},  {720, 576},   {768, 576},   {1280, 720},  {1440, 1080}, {1828, 1332}, {1920, 1080}, {1920, 1088},
    {2048, 858}, {2048, 1080}, {2048, 1152}, {2048, 1556}, {3840, 2160}, {4096, 1716}, {4096, 2160}, {4096, 3112},
};

// A size in a name such as walk_160x96_6fps.yuv or walk_160_96.yuv.
std::optional<std::array<int, 2>> size_in_name(const std::string& path) {
  const std::string name = lib::split_path(path).name;
  std::optional<std::array<int, 2>> found;
  for (std::size_t i = 0; i < name.size();) {
    if (!std::isdigit(static_cast<unsigned char>(name[i]))) {
      ++i;
      continue;
    }
    int width = 0, height = 0, read = 0;
    char mark = 0;
    if (std::sscanf(name.c_str() + i, "%5d%c%5d%n", &width, &mark, &height, &read) == 3 &&
        (mark == 'x' || mark == 'X' || mark == '_') && width >= 16 && height >= 16) {
      found = {width, height};
    }
    while (i < name.size() && std::isdigit(static_cast<unsigned char>(name[i]))) ++i;
  }
  return found;
}

yuv_frame find_frame(const io::llfile& file) {
  const std::string path = file.name();
  const std::int64_t size = file.size();
  for (const layout kind : {layout::words_422, layout::planes_420, layout::planes_444}) {
    for (const auto& known : known_sizes) {
      const yuv_frame frame{known[0], known[1], kind};
      if (frame.bytes() == size) return frame;
    }
  }
  // A file of several frames shows its first.
  if (const auto named = size_in_name(path)) {
    for (const layout kind : layouts) {
      const yuv_frame frame{(*named)[0], (*named)[1], kind};
      if (size > 0 && size % frame.bytes() == 0) return frame;
    }
  }
  throw io::invalid_format(path, "Unrecognized YUV resolution or format");
}

// From 16 to 235 and 16 to 240 to full range, in 16 bits of fraction: luma, red of red difference, green of both, blue.
struct matrix {
  int luma, red, green_of_blue, green_of_red, blue;
};
constexpr matrix television{76309, 104597, 25675, 53279, 132201};       // BT.601
constexpr matrix high_definition{76309, 117489, 13975, 34925, 138438};  // BT.709

struct row_of_samples {
  const std::uint8_t *luma, *blue, *red;
  int luma_step, difference_step;  // bytes from one to the next
  int shift;                       // pixels that share a difference, as a power of two
};

void put_yuv_row(image& image, int y, const row_of_samples& row, const matrix& m) {
  std::uint8_t *blue = image.row(0, y), *green = image.row(1, y), *red = image.row(2, y);
  const auto byte = [](int value) { return static_cast<std::uint8_t>(std::clamp((value + 32768) >> 16, 0, 255)); };
  for (int x = 0; x < image.width; ++x) {
    const int luma = (row.luma[x * row.luma_step] - 16) * m.luma;
    const int at = (x >> row.shift) * row.difference_step;
    const int b = row.blue[at] - 128, r = row.red[at] - 128;
    red[x] = byte(luma + m.red * r);
    green[x] = byte(luma - m.green_of_blue * b - m.green_of_red * r);
    blue[x] = byte(luma + m.blue * b);
  }
}

class yuv : public format {
 public:
  const char* name() const override { return "yuv"; }

  void read(image& image, const std::string& path, const layer&) const override {
    const io::llfile file(path, false);
    const yuv_frame frame = find_frame(file);
    check_dimensions(path, frame.width, frame.height);
    image.reset("BGR", 8, frame.width, frame.height);
    image.set_path(path);
    image.set_centre_anchor();
    const matrix& m = frame.height <= 576 ? television : high_definition;
    plane bytes(static_cast<std::size_t>(frame.bytes()));
    for (std::int64_t done = 0; done < frame.bytes();) {
      const int count = static_cast<int>(std::min(frame.bytes() - done, most_at_once));
      if (file.read_at(bytes.data() + done, count, done) < count) throw io::eof_error(path);
      done += count;
    }
    const std::uint8_t* data = bytes.data();
    const auto width = static_cast<std::size_t>(frame.width);
    const std::size_t luma_bytes = width * static_cast<std::size_t>(frame.height);
    const std::size_t half = (width + 1) / 2;
    lib::parallel_rows(frame.height, static_cast<long long>(luma_bytes), [&](int first, int last) {
      for (int y = first; y < last; ++y) {
        const auto row = static_cast<std::size_t>(y);
        row_of_samples samples{};
        if (frame.kind == layout::words_422) {
          const std::uint8_t* words = data + 2 * width * row;
          samples = {words + 1, words, words + 2, 2, 4, 1};
        } else if (frame.kind == layout::planes_420) {
          const std::size_t difference_bytes = half * (static_cast<std::size_t>(frame.height + 1) / 2);
          const std::uint8_t* blue = data + luma_bytes + half * (row / 2);
          samples = {data + width * row, blue, blue + difference_bytes, 1, 1, 1};
        } else {
          const std::uint8_t* luma = data + width * row;
          samples = {luma, luma + luma_bytes, luma + 2 * luma_bytes, 1, 1, 0};
        }
        put_yuv_row(image, y, samples, m);
      }
    });
  }

  picture_header read_header(const std::string& path, const layer&) const override {
    const yuv_frame frame = find_frame(io::llfile(path, false));
    check_dimensions(path, frame.width, frame.height);
    return {frame.width, frame.height, false, {layer()}};
  }
};

}  // namespace

const format& yuv_format() {
  static const yuv instance;
  return instance;
}

}  // namespace img
