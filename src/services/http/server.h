// The server: one thread that takes requests and gives answers, and the pictures that it asks the main thread for.
#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "img/image.h"
#include "platform/tcp.h"
#include "services/http/answer.h"
#include "services/http/request.h"
#include "services/http/users.h"

namespace services::http {

// The folder that is given out, and to whom.
struct site {
  std::string root;  // folder of the files; empty for none
  users people;
};

// How long the server waits for its peers, and for how many, in milliseconds. Tests shorten it.
struct patience {
  int request = 10000;   // for a whole request
  int progress = 30000;  // for a peer to take the next bytes of its answer
  int farewell = 1000;   // for all of them when the server ends, and for one to read its last bytes
  int crowded = 1000;    // after which a peer that takes nothing makes room for another
  int connections = 64;  // at once; the others wait
};

// Main thread, but for what its own thread does.
class server {
 public:
  using draw_function = std::function<img::const_image_ptr(int width, int height)>;

  explicit server(patience limits = {}) : limits_(limits) {}
  ~server() { end(); }
  server(const server&) = delete;
  server& operator=(const server&) = delete;

  // Called by the server's thread when a picture is wanted; the main thread is to poll() soon. Empty for nobody.
  // Returns when no call of the former one goes on.
  void set_wake(std::function<void()> wake);

  // Listens from now on, and at no earlier address. False with the reason in `error` and its errno, 0 for a host that
  // is no address, EAGAIN without a thread; then it listens nowhere.
  bool start(const std::string& host, int port, site site, std::string& error, int& error_number);
  // Takes no further connections. Those that are open run to their end.
  void stop();
  bool listening() const { return port_ > 0; }
  int port() const { return port_; }

  // Draws what is asked for, each size once for all who want it, and hands it to the thread. `draw` gives a picture of
  // that size or null; one that it gives again is not made into a file again. True when there was something to draw.
  bool poll(const draw_function& draw);

  // Answers who waits for a picture that there is none, gives the others a second, and ends the thread.
  void end();

 private:
  enum class phase { reading, waiting, writing, closing };
  struct connection {
    platform::tcp_socket socket;
    long long id = 0;
    phase now = phase::reading;
    long long since = 0;  // milliseconds: of the start of reading and closing, of the last bytes while writing
    request_parser parser;
    int refresh = 0;
    answer out;
    std::int64_t sent = 0;  // bytes of head and body
    std::size_t index = 0;  // in the wait
  };
  struct wanted_picture {
    int width = 0;
    int height = 0;
    long long id = 0;  // of the connection
  };
  struct drawn_picture {
    img::const_image_ptr image;  // null for none
    std::vector<long long> ids;
  };

  void run();
  bool take_orders();
  void give(const drawn_picture& picture);
  std::shared_ptr<const std::string> file_of(const img::const_image_ptr& image);
  int milliseconds_to_wait(long long now) const;
  void wait();
  bool may_give_way(const connection& c, long long now) const;
  bool room_for_another(long long now) const;
  void accept();
  // Each returns false when the connection is done with.
  bool step(connection& c);
  bool read(connection& c);
  bool write(connection& c);
  bool close_gently(connection& c);
  bool in_time(const connection& c, long long now) const;
  void begin_answer(connection& c, answer out);
  void end_answer(connection& c);
  void dispatch(connection& c);
  void say_farewell();

  const patience limits_;
  int port_ = 0;

  std::mutex wake_lock_;  // guards wake_, also while it is called
  std::function<void()> wake_;

  std::mutex lock_;  // guards what follows
  std::condition_variable changed_;
  std::optional<platform::tcp_socket> next_listener_;  // for the thread; an empty socket to listen nowhere
  site next_site_;
  bool quit_ = false;
  std::vector<wanted_picture> wanted_;
  std::vector<drawn_picture> drawn_;

  // --- of the thread alone ---
  platform::tcp_socket listener_;
  // Files of pictures that are still held by who drew them, and may be given again.
  struct made_file {
    std::weak_ptr<const img::image> image;
    std::shared_ptr<const std::string> bytes;
  };
  std::vector<made_file> files_;
  site site_;
  std::list<connection> connections_;
  long long next_id_ = 0;
  long long crowded_until_ = 0;  // milliseconds: no descriptor is left before

  platform::tcp_wait wait_;
  std::thread thread_;
};

}  // namespace services::http
