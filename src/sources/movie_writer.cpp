#include "sources/movie_writer.h"

#include <cstdlib>

#include "platform/module.h"

namespace sources {
namespace {

const writing_host host{lent_to_modules(), current_yuv_making_rows, img::active_row_kernels};

}  // namespace

std::unique_ptr<movie_writer> open_movie_writer(const movie_settings& settings, movie_failure& failure) {
  std::string missing;
  void* function = platform::module_function("media", "kestrin_open_movie_writer", missing);
  if (!function) {
    failure = {0, "Movies can't be written here: " + missing};
    return nullptr;
  }
  std::unique_ptr<movie_writer> writer;
  reinterpret_cast<open_movie_writer_function>(function)(host, settings, writer, failure);
  return writer;
}

int sound_rate_of_container(const std::string& container, int rate) {
  if (container != "mp4") return rate;
  // What AAC can have (ISO/IEC 14496-3, table 1.18).
  constexpr int rates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000};
  int best = rates[0];
  for (const int known : rates) {
    if (std::abs(known - rate) < std::abs(best - rate)) best = known;
  }
  return best;
}

}  // namespace sources
