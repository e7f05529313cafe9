/* Preloaded into the program: once a file or a socket whose path holds $FAULT_PATH has been opened, allocations fail as told, or
   reads of it, and what is sent there, come in pieces and are interrupted. Which one goes by $FAULT_MODE:
     count    nothing fails; the number of allocations after the opening is written to $FAULT_COUNT
     one      allocation number $FAULT_AT fails
     row      it and the fifteen after it fail
     large    from number $FAULT_AT on every one of 2048 bytes or more fails
     pieces   reads give a third of what was asked for, and every second one is interrupted before it begins */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>

extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void* __libc_realloc(void*, size_t);
extern void* __libc_memalign(size_t, size_t);

static atomic_int armed;
static atomic_long allocations;
static atomic_int watched[64]; /* descriptors of the file, plus one */
static atomic_uint turns;

static const char* told(const char* name) {
  const char* value = getenv(name);
  return value ? value : "";
}

static int fails(size_t size) {
  if (!atomic_load(&armed)) return 0;
  const long number = atomic_fetch_add(&allocations, 1) + 1;
  const char mode = told("FAULT_MODE")[0];
  const long at = atol(told("FAULT_AT"));
  const int now = (mode == 'o' && number == at) || (mode == 'r' && number >= at && number < at + 16) ||
                  (mode == 'l' && number >= at && size >= 2048);
  if (now) errno = ENOMEM;
  return now;
}

void* malloc(size_t size) { return fails(size) ? NULL : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return fails(count * size) ? NULL : __libc_calloc(count, size); }
void* realloc(void* block, size_t size) { return fails(size) ? NULL : __libc_realloc(block, size); }
void* memalign(size_t alignment, size_t size) { return fails(size) ? NULL : __libc_memalign(alignment, size); }
void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }
int posix_memalign(void** block, size_t alignment, size_t size) {
  void* found = memalign(alignment, size);
  if (!found) return ENOMEM;
  *block = found;
  return 0;
}

static int looked_at(int file, const char* path) {
  const char* part = told("FAULT_PATH");
  if (file >= 0 && *part && strstr(path, part)) {
    if (file < 64) atomic_store(&watched[file], file + 1);
    atomic_store(&armed, 1);
  }
  return file;
}

#define OPEN(name, ...)                                          \
  int name(const char* path, int flags, ...) {                   \
    static int (*real)(const char*, int, ...);                   \
    if (!real) *(void**)&real = dlsym(RTLD_NEXT, #name);         \
    va_list list;                                                \
    va_start(list, flags);                                       \
    const mode_t mode = flags & O_CREAT ? va_arg(list, mode_t) : 0; \
    va_end(list);                                                \
    return looked_at(real(path, flags, mode), path);             \
  }
OPEN(open)
OPEN(open64)

int close(int file) {
  static int (*real)(int);
  if (!real) *(void**)&real = dlsym(RTLD_NEXT, "close");
  if (file >= 0 && file < 64) atomic_store(&watched[file], 0);
  return real(file);
}

/* How much of a read may be given; 0 for one that is interrupted. */
static size_t share(int file, size_t count) {
  if (file < 0 || file >= 64 || !atomic_load(&watched[file]) || told("FAULT_MODE")[0] != 'p' || count < 2) return count;
  if (atomic_fetch_add(&turns, 1) % 2 == 0) {
    errno = EINTR;
    return 0;
  }
  return (count + 2) / 3;
}

ssize_t read(int file, void* buffer, size_t count) {
  static ssize_t (*real)(int, void*, size_t);
  if (!real) *(void**)&real = dlsym(RTLD_NEXT, "read");
  const size_t part = share(file, count);
  return part == 0 && count > 0 ? -1 : real(file, buffer, part);
}

#define PREAD(name, offset_type)                                        \
  ssize_t name(int file, void* buffer, size_t count, offset_type at) {  \
    static ssize_t (*real)(int, void*, size_t, offset_type);            \
    if (!real) *(void**)&real = dlsym(RTLD_NEXT, #name);                \
    const size_t part = share(file, count);                             \
    return part == 0 && count > 0 ? -1 : real(file, buffer, part, at);  \
  }
PREAD(pread, off_t)
PREAD(pread64, off64_t)

int connect(int file, const struct sockaddr* address, socklen_t length) {
  static int (*real)(int, const struct sockaddr*, socklen_t);
  if (!real) *(void**)&real = dlsym(RTLD_NEXT, "connect");
  const int result = real(file, address, length);
  if (result == 0 && address->sa_family == AF_UNIX) looked_at(file, ((const struct sockaddr_un*)address)->sun_path);
  return result;
}

ssize_t recv(int file, void* buffer, size_t count, int flags) {
  static ssize_t (*real)(int, void*, size_t, int);
  if (!real) *(void**)&real = dlsym(RTLD_NEXT, "recv");
  const size_t part = share(file, count);
  return part == 0 && count > 0 ? -1 : real(file, buffer, part, flags);
}

ssize_t send(int file, const void* buffer, size_t count, int flags) {
  static ssize_t (*real)(int, const void*, size_t, int);
  if (!real) *(void**)&real = dlsym(RTLD_NEXT, "send");
  const size_t part = share(file, count);
  return part == 0 && count > 0 ? -1 : real(file, buffer, part, flags);
}

__attribute__((destructor)) static void tell(void) {
  if (told("FAULT_MODE")[0] != 'c') return;
  const int file = creat(told("FAULT_COUNT"), 0600);
  if (file < 0) return;
  dprintf(file, "%ld\n", atomic_load(&allocations));
}
