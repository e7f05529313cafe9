#include "save/read_ahead.h"

#include "render/pipeline.h"
#include "save/memory.h"

namespace save {

bool wanted_of(const ksn::track_info& track, double time, bool native, wanted_frame& wanted) {
  if (!track.source.is_decoded() || track.source.is_clip() || track.source.disable_cache) return false;
  const double position = track.source_position(time);
  if (position < 0.0 || position >= track.source.frames) return false;
  wanted.key = render::key_of_frame(track, static_cast<int>(position), ksn::cache_resolution_type::full);
  if (native) {
    wanted.key.has_lookup = false;
    wanted.key.lookup_hash = 0;
  }
  wanted.format = wanted.key.path.empty() ? nullptr : img::find_format(wanted.key.path);
  wanted.revalidate = track.source.auto_update;
  if (wanted.key.has_lookup) wanted.lookup = track.look.tf.lookup_table;
  return wanted.format != nullptr;
}

read_ahead::~read_ahead() {
  for (const auto& [key, entry] : entries_) drop(*entry);
}

void read_ahead::want(int frame, const std::vector<wanted_frame>& list, workers& workers) {
  for (const wanted_frame& wanted : list) {
    std::shared_ptr<entry>& slot = entries_[wanted.key];
    if (slot) {
      slot->last_frame = frame;
      continue;
    }
    slot = std::make_shared<entry>();
    slot->first_frame = slot->last_frame = frame;
    if (img::const_image_ptr cached = cache_.find(wanted.key)) {
      slot->image = std::move(cached);
      slot->was_cached = true;
      if (!wanted.revalidate) {
        slot->state = entry::progress::read;
        continue;
      }
    }
    workers.add_read([this, wanted, slot = slot] {
      img::const_image_ptr image;
      try {
        image = cache_.get_file_frame(wanted.key, *wanted.format, wanted.revalidate, &wanted.lookup);
      } catch (const std::exception&) {
        // The pipeline tries again when the frame's turn comes, and reports.
      }
      {
        const std::lock_guard lock(mutex_);
        slot->state = image ? entry::progress::read : entry::progress::failed;
        slot->image = std::move(image);
      }
      read_.notify_all();
    });
  }
}

bool read_ahead::is_ready(int frame) {
  const std::lock_guard lock(mutex_);
  for (const auto& [key, entry] : entries_) {
    const bool needed = frame >= entry->first_frame && frame <= entry->last_frame;
    if (needed && entry->state == entry::progress::reading) return false;
  }
  return true;
}

bool read_ahead::wait(int frame) {
  bool all_read = true;
  std::unique_lock lock(mutex_);
  for (const auto& [key, entry] : entries_) {
    if (frame < entry->first_frame || frame > entry->last_frame) continue;
    read_.wait(lock, [&entry = entry] { return entry->state != entry::progress::reading; });
    all_read = all_read && entry->state == entry::progress::read;
  }
  return all_read;
}

void read_ahead::release(int frame) {
  for (auto at = entries_.begin(); at != entries_.end();) {
    const auto here = at++;
    if (here->second->last_frame > frame) continue;
    drop(*here->second);
    entries_.erase(here);
  }
}

std::size_t read_ahead::bytes() {
  std::size_t bytes = 0;
  const std::lock_guard lock(mutex_);
  for (const auto& [key, entry] : entries_) {
    if (entry->image) bytes += bytes_of(*entry->image);
  }
  return bytes;
}

void read_ahead::drop(const entry& entry) {
  if (!entry.was_cached && entry.image) cache_.drop(entry.image);
}

}  // namespace save
