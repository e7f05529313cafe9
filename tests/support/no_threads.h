// A process that gets no more threads.
#pragma once

#include <pthread.h>

#include <cstddef>

namespace support {

// While it lives every new thread fails with EAGAIN, as where the user has too many: its stack finds no room.
class no_threads {
 public:
  no_threads() {
    pthread_getattr_default_np(&before_);
    pthread_attr_t wanted;
    pthread_attr_init(&wanted);
    pthread_attr_setstacksize(&wanted, std::size_t{1} << 46);
    pthread_setattr_default_np(&wanted);
    pthread_attr_destroy(&wanted);
  }
  ~no_threads() {
    pthread_setattr_default_np(&before_);
    pthread_attr_destroy(&before_);
  }
  no_threads(const no_threads&) = delete;
  no_threads& operator=(const no_threads&) = delete;

 private:
  pthread_attr_t before_;
};

}  // namespace support
