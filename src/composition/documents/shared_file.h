// Files of the user that several instances write.
#pragma once

#include <string>

#include "io/document.h"
#include "platform/file_lock.h"

namespace ksn {

constexpr int longest_lock_wait = 2000;  // milliseconds, for another instance that writes

// Runs `write` under the lock of `path`. False when another instance holds it too long, or `write` throws.
template <class Write>
bool write_shared_file(const std::string& path, const Write& write) {
  try {
    const platform::file_lock lock(path + ".lock", longest_lock_wait);
    if (!lock.held()) return false;
    write();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace ksn
