// Movies that are written: pictures and sound in order into one file.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "img/row_kernels.h"
#include "sources/clip.h"
#include "sources/rgb_to_yuv.h"

namespace sources {

// What is said at the beginning of a movie.
struct movie_settings {
  std::string path;       // of the file to write, whose name says nothing of the container
  std::string container;  // extension: "mov", "mp4", "mkv", "avi"
  std::string codec;      // a name of movie_codecs() that goes into the container
  int quality = 90;       // 1 to 100, for the codecs where it counts
  int width = 0;          // pixels
  int height = 0;
  int rate_numerator = 0;  // frames a second, as a fraction
  int rate_denominator = 1;
  bool alpha = false;    // pictures have alpha, and it is kept; only where the codec holds it
  bool deep = false;     // pictures are words; only where the codec holds them
  std::string timecode;  // of the first frame, "hh:mm:ss:ff" or "hh:mm:ss;ff"; empty for none
  int sound_rate = 0;    // Hz, 0 for no sound
};

// One picture: a plane for blue, green, red and alpha, rows from the top without gaps. Bytes, or words of 0 to 65535
// (host order) for a deep movie. Gray: the same plane three times. No alpha plane: all is opaque.
struct movie_picture {
  std::array<const void*, 4> planes{};
};

// Why a movie can't be written: the number of the system's error where it has one, else words.
struct movie_failure {
  int error_number = 0;
  std::string text;
};

// One thread at a time. A writer that goes without finish() leaves a file that nothing can play.
class movie_writer {
 public:
  virtual ~movie_writer() = default;

  // Each is false after a failure, which failure() tells; nothing may follow then. The planes are read before the
  // return. Waits as long as the encoder has enough to do.
  virtual bool add_picture(const movie_picture& picture) = 0;
  // Interleaved stereo of 16 bits that follows what came before.
  virtual bool add_sound(std::span<const std::int16_t> samples) = 0;
  // Encodes what is left and completes the file.
  virtual bool finish() = 0;
  virtual const movie_failure& failure() const = 0;
  // What the file has at the moment, in bytes.
  virtual long long bytes() const = 0;
};

// What the module borrows beside what its readers do.
struct writing_host {
  const module_host& common;
  const yuv_making_rows& (*yuv_rows)();
  const img::row_kernels& (*row_kernels)();
};

// What the program lends to modules.
const module_host& lent_to_modules();

// The function "kestrin_open_movie_writer" of the module "media". It never throws. `host` lives as long as the process.
using open_movie_writer_function = void (*)(const writing_host& host, const movie_settings& settings,
                                            std::unique_ptr<movie_writer>& writer, movie_failure& failure);

// A writer for a movie, from the media module, which is loaded at the first call; null after a failure, also without
// the module. Never throws.
std::unique_ptr<movie_writer> open_movie_writer(const movie_settings& settings, movie_failure& failure);

// The rate for sound that comes at `rate` Hz: the nearest one that the container's sound can have.
int sound_rate_of_container(const std::string& container, int rate);

}  // namespace sources
