#include "platform/qt/gl_surface.h"

#include <QOpenGLContext>
#include <QOpenGLExtraFunctions>
#include <QSurfaceFormat>
#include <QThread>
#include <chrono>
#include <cstring>

namespace platform {
namespace {

constexpr std::chrono::milliseconds longest_wait(100);
constexpr GLenum bgra = 0x80E1;  // the order of the bytes as they come; desktop OpenGL has it

bool software_is_wanted() {
  const QByteArray wanted = qgetenv("KESTRIN_OPENGL");
  return wanted == "software";
}

bool is_software(const char* renderer) {
  for (const char* name : {"llvmpipe", "softpipe", "swrast", "Software", "SWR"}) {
    if (!renderer || std::strstr(renderer, name)) return true;
  }
  return false;
}

// The picture as a texture that is copied to the window, bottom row first.
class blitter {
 public:
  explicit blitter(QOpenGLContext& context) : context_(context), gl_(*context.extraFunctions()) {
    gl_.initializeOpenGLFunctions();
    gl_.glGenTextures(1, &texture_);
    gl_.glGenFramebuffers(1, &source_);
  }
  ~blitter() {
    gl_.glDeleteFramebuffers(1, &source_);
    gl_.glDeleteTextures(1, &texture_);
  }

  void draw(const std::uint8_t* pixels, int width, int height, const QSize& window) {
    gl_.glBindTexture(GL_TEXTURE_2D, texture_);
    if (width != width_ || height != height_) {
      gl_.glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, bgra, GL_UNSIGNED_BYTE, nullptr);
      gl_.glBindFramebuffer(GL_READ_FRAMEBUFFER, source_);
      gl_.glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture_, 0);
      width_ = width;
      height_ = height;
    }
    gl_.glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    gl_.glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, bgra, GL_UNSIGNED_BYTE, pixels);
    gl_.glBindFramebuffer(GL_READ_FRAMEBUFFER, source_);
    gl_.glBindFramebuffer(GL_DRAW_FRAMEBUFFER, context_.defaultFramebufferObject());
    if (width < window.width() || height < window.height()) {
      gl_.glClearColor(0, 0, 0, 1);
      gl_.glClear(GL_COLOR_BUFFER_BIT);
    }
    gl_.glBlitFramebuffer(0, 0, width, height, 0, window.height(), width, window.height() - height, GL_COLOR_BUFFER_BIT,
                          GL_NEAREST);
  }

 private:
  QOpenGLContext& context_;
  QOpenGLExtraFunctions& gl_;
  GLuint texture_ = 0;
  GLuint source_ = 0;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace

class gl_surface::drawing_window : public QWindow {
 public:
  explicit drawing_window(gl_surface& owner) : owner_(owner) {
    setSurfaceType(QSurface::OpenGLSurface);
    QSurfaceFormat format;
    format.setVersion(3, 0);
    format.setSwapInterval(1);
    setFormat(format);
    setFlag(Qt::WindowTransparentForInput);
    setFlag(Qt::WindowDoesNotAcceptFocus);
  }

 protected:
  void exposeEvent(QExposeEvent*) override {
    if (isExposed()) owner_.show_again();
  }

 private:
  gl_surface& owner_;
};

std::unique_ptr<gl_surface> gl_surface::make(QWidget* over) {
  if (!QOpenGLContext::supportsThreadedOpenGL()) return nullptr;
  std::unique_ptr<gl_surface> surface(new gl_surface);
  surface->window_ = new drawing_window(*surface);
  surface->container_ = QWidget::createWindowContainer(surface->window_, over, Qt::WindowTransparentForInput);
  surface->container_->setAttribute(Qt::WA_TransparentForMouseEvents);
  surface->container_->setFocusPolicy(Qt::NoFocus);
  surface->container_->setGeometry(over->rect());
  surface->window_->create();
  surface->thread_.reset(QThread::create([owner = surface.get()] { owner->draw_pictures(); }));
  surface->thread_->start();
  std::unique_lock guard(surface->lock_);
  surface->changed_.wait(guard, [&] { return surface->started_ != start_result::waiting; });
  const bool good = surface->started_ == start_result::good;
  guard.unlock();
  if (!good) return nullptr;
  surface->container_->show();
  return surface;
}

gl_surface::~gl_surface() {
  {
    const std::lock_guard guard(lock_);
    ending_ = true;
    changed_.notify_all();
  }
  if (thread_) thread_->wait();
  delete container_;
}

void gl_surface::show_picture(std::shared_ptr<const std::uint8_t> pixels, int width, int height, bool until_shown) {
  std::unique_lock guard(lock_);
  last_ = {std::move(pixels), width, height};
  const int number = ++wanted_;
  changed_.notify_all();
  changed_.wait_for(guard, longest_wait, [&] { return (until_shown ? drawn_ : taken_) >= number; });
}

void gl_surface::show_again() {
  const std::lock_guard guard(lock_);
  if (!last_.pixels) return;
  ++wanted_;
  changed_.notify_all();
}

void gl_surface::draw_pictures() {
  QOpenGLContext context;
  context.setFormat(window_->format());
  bool good = context.create() && context.makeCurrent(window_) && !context.isOpenGLES() &&
              context.format().version() >= qMakePair(3, 0);
  if (good && !software_is_wanted()) {
    good = !is_software(reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER)));
  }
  std::unique_lock guard(lock_);
  started_ = good ? start_result::good : start_result::failed;
  changed_.notify_all();
  if (!good) return;

  const auto blit = std::make_unique<blitter>(context);
  for (;;) {
    changed_.wait(guard, [this] { return ending_ || drawn_ != wanted_; });
    if (ending_) break;
    const picture picture = last_;
    const int number = wanted_;
    guard.unlock();
    const bool shown = window_->isExposed() && context.makeCurrent(window_);
    if (shown) {
      blit->draw(picture.pixels.get(), picture.width, picture.height, window_->size() * window_->devicePixelRatio());
    }
    guard.lock();
    taken_ = number;
    changed_.notify_all();
    guard.unlock();
    if (shown) context.swapBuffers(window_);
    guard.lock();
    drawn_ = number;
    changed_.notify_all();
  }
  guard.unlock();
  context.doneCurrent();
}

}  // namespace platform
