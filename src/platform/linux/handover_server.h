// The thread of the instance that serves: it reads messages and writes answers for all senders at once.
#pragma once

#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "platform/handover_message.h"
#include "platform/linux/descriptor.h"

namespace platform {

// Tells each sender that its message has arrived, as soon as it is whole. A peer that is slow, silent or talks nonsense
// holds up neither the main thread nor the other peers: it has five seconds for each step, and of those whose message
// is not whole the oldest goes when another one needs its place.
class handover_server {
 public:
  struct request {
    handover_message message;
    descriptor peer;
  };

  // `socket` listens, does not block, and outlives the server. `wake` is called on the server's thread when a request
  // waits for next().
  handover_server(int socket, std::function<void()> wake);
  ~handover_server();

  bool next(request& taken);
  // Throws std::bad_alloc, and has taken neither then.
  void answer(descriptor& peer, std::string& bytes);

 private:
  struct written {
    descriptor peer;
    std::string bytes;
  };
  struct peer {
    descriptor socket;
    handover_parser parser;
    std::string answer;  // while it is not empty the peer is written to
    std::size_t sent = 0;
    long long deadline = 0;
  };

  void signal();
  void run();
  void serve();
  bool take_answers();
  bool has_room();
  void wait();
  bool drop_half_message();
  void accept_peer();
  bool receive(peer& p);
  bool transmit(peer& p);

  const int socket_;
  const std::function<void()> wake_;
  const descriptor signal_;  // readable when the thread is to look at the shared fields
  std::list<peer> peers_;    // of the thread; oldest first
  std::mutex lock_;
  std::deque<request> requests_;  // lock_
  std::deque<written> answers_;   // lock_
  bool stop_ = false;             // lock_
  std::thread thread_;            // last: it uses all of the above
};

}  // namespace platform
