#include "save/read_ahead.h"

#include <exception>
#include <utility>

#include "cache/track_frame.h"
#include "save/memory.h"

namespace save {

bool wanted_of(const ksn::track_info& track, double time, bool native, cache::frame_request& wanted) {
  if (!track.source.is_decoded() || track.source.is_clip() || track.source.disable_cache) return false;
  const double position = track.source_position(time);
  if (position < 0.0 || position >= track.source.frames) return false;
  const int frame = static_cast<int>(position);
  cache::frame_key key = cache::key_of_frame(track, frame, ksn::cache_resolution_type::full);
  if (native) {
    key.has_lookup = false;
    key.lookup_hash = 0;
  }
  if (!img::find_format(key.path)) return false;
  std::optional<cache::frame_request> request = cache::request_of(track, frame, std::move(key));
  if (request) wanted = std::move(*request);
  return request.has_value();
}

read_ahead::~read_ahead() {
  reading_.cancel(cache::frame_owner::save);
  for (const auto& [key, entry] : entries_) drop(entry);
}

void read_ahead::want(int frame, const std::vector<cache::frame_request>& list) {
  std::vector<cache::frame_request> missing;
  for (const cache::frame_request& wanted : list) {
    const auto [at, is_new] = entries_.try_emplace(wanted.key);
    entry& entry = at->second;
    entry.last_frame = frame;
    if (!is_new) continue;
    entry.first_frame = frame;
    entry.request = wanted;
    entry.image = reading_.cache().find(wanted.key);
    entry.was_cached = entry.image && reading_.cache().is_kept(entry.image);
    if (!entry.image) missing.push_back(wanted);
  }
  reading_.add(cache::frame_owner::save, std::move(missing));
}

bool read_ahead::is_there(entry& entry) {
  if (!entry.image) entry.image = reading_.cache().find(entry.request.key);
  return entry.image != nullptr;
}

bool read_ahead::is_ready(int frame) {
  for (auto& [key, entry] : entries_) {
    if (entry.is_for(frame) && !is_there(entry) && !reading_.failures().has(key)) return false;
  }
  return true;
}

bool read_ahead::wait(int frame) {
  bool all_read = true;
  for (auto& [key, entry] : entries_) {
    if (!entry.is_for(frame)) continue;
    try {
      entry.image = reading_.fetch(entry.request).image;
    } catch (const std::exception&) {
      // The pipeline meets the failure when the frame's turn comes, and reports.
      entry.image = nullptr;
    }
    all_read = all_read && entry.image;
  }
  return all_read;
}

void read_ahead::release(int frame) {
  std::erase_if(entries_, [&](const auto& item) {
    if (item.second.last_frame > frame) return false;
    drop(item.second);
    return true;
  });
}

std::size_t read_ahead::bytes() {
  std::size_t bytes = 0;
  for (auto& [key, entry] : entries_) {
    if (is_there(entry)) bytes += cache::bytes_of(*entry.image);
  }
  return bytes;
}

void read_ahead::drop(const entry& entry) {
  if (entry.was_cached) return;
  reading_.withdraw(cache::frame_owner::save, entry.request.key);
  if (entry.image) reading_.cache().drop(entry.image);
}

}  // namespace save
