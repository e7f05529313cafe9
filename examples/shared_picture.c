/* How a renderer shows its picture in Kestrin while it renders: a moving pattern in shared memory.
 *
 *   cc -O2 -o shared_picture examples/shared_picture.c && ./shared_picture moving 640 360
 *   kestrin shm:/moving
 *
 * The block begins with words of 32 bits, little-endian, at these offsets:
 *
 *    0  0xFC7D001A             20  offset of the colours: 4 bytes a pixel, blue, green, red, unused
 *    4  version, 0             24  offset of the alpha: 1 byte a pixel; 0 for none
 *    8  size of the header     28  offset of a further plane of 4 bytes a pixel, not shown; 0 for none
 *   12  width                  32  frame that is being rendered
 *   16  height                 36  render time, as the renderer counts it
 *                              40  64 bytes of text, the name of the project
 *                             104  a word of the renderer's own
 *
 * A header of 32 bytes is enough; what lies beyond its size does not count. Offsets count from the begin of the block.
 * There is no lock: Kestrin reads the rows as they stand, at each picture that it draws. */
#include <fcntl.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

struct header {
  uint32_t magic, version, header_bytes, width, height, color_offset, alpha_offset, third_offset;
  int32_t frame;
  uint32_t render_time;
  char project[64];
  uint32_t further;
};

static volatile sig_atomic_t stopped;

static void on_signal(int number) {
  (void)number;
  stopped = 1;
}

/* One bucket of a renderer: a square of the picture, shaded. */
static void render(uint8_t *colors, uint8_t *alpha, int width, int height, int left, int top, int side, int frame) {
  for (int y = top; y < top + side && y < height; ++y) {
    for (int x = left; x < left + side && x < width; ++x) {
      uint8_t *pixel = colors + 4 * ((size_t)y * width + x);
      pixel[0] = (uint8_t)(x + frame);
      pixel[1] = (uint8_t)(y - frame);
      pixel[2] = (uint8_t)((x ^ y) + 2 * frame);
      alpha[(size_t)y * width + x] = (uint8_t)(255 - (x * 64) / width);
    }
  }
}

int main(int count, char **arguments) {
  const char *name = count > 1 ? arguments[1] : "moving";
  const int width = count > 2 ? atoi(arguments[2]) : 640;
  const int height = count > 3 ? atoi(arguments[3]) : 360;
  const int frames = count > 4 ? atoi(arguments[4]) : 0; /* 0 until Ctrl+C */
  if (width < 1 || height < 1 || width > 65535 || height > 65535 || strchr(name, '/') || strlen(name) > 200) {
    fprintf(stderr, "usage: shared_picture [NAME [WIDTH HEIGHT [FRAMES]]]\n");
    return 2;
  }
  char path[256];
  snprintf(path, sizeof path, "/%s", name);
  const size_t pixels = (size_t)width * height;
  const size_t bytes = sizeof(struct header) + 5 * pixels;
  if (bytes > UINT32_MAX) {
    fprintf(stderr, "offsets have 32 bits: the picture is too large\n");
    return 2;
  }

  shm_unlink(path); /* what an earlier run left */
  const int block = shm_open(path, O_RDWR | O_CREAT | O_EXCL, 0600);
  if (block < 0 || ftruncate(block, (off_t)bytes) != 0) {
    perror(path);
    return 1;
  }
  uint8_t *memory = mmap(NULL, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, block, 0);
  if (memory == MAP_FAILED) {
    perror(path);
    return 1;
  }
  struct header *header = (struct header *)memory;
  header->version = 0;
  header->header_bytes = sizeof *header;
  header->width = (uint32_t)width;
  header->height = (uint32_t)height;
  header->color_offset = sizeof *header;
  header->alpha_offset = (uint32_t)(sizeof *header + 4 * pixels);
  header->third_offset = 0;
  snprintf(header->project, sizeof header->project, "moving pattern");
  header->magic = 0xFC7D001A; /* last: from now on the block counts as a picture */

  signal(SIGINT, on_signal);
  signal(SIGTERM, on_signal);
  uint8_t *colors = memory + header->color_offset;
  uint8_t *alpha = memory + header->alpha_offset;
  const int side = 64;
  const struct timespec rest = {0, 40000000};
  for (int frame = 0; !stopped && (frames == 0 || frame < frames); ++frame) {
    header->frame = frame;
    header->render_time = (uint32_t)frame * 40;
    for (int top = 0; top < height; top += side) {
      for (int left = 0; left < width; left += side) render(colors, alpha, width, height, left, top, side, frame);
    }
    nanosleep(&rest, NULL);
  }
  shm_unlink(path);
  return 0;
}
