// The line between the instances of one user on one display: a later one hands its command line over to the first.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "platform/file_lock.h"
#include "platform/handover_message.h"

namespace platform {

class descriptor;
class handover_server;

// The path, without its extension, of the socket and the lock file that the instances on this display share: in
// $XDG_RUNTIME_DIR, or without a usable one in a folder of its own, closed to others, under the temporary folder. Empty
// without a display or such a folder.
std::string handover_address();

// Carries out one message: adds lines to the answer, and gives false when it does not carry it out.
using carry_out_function = std::function<bool(const handover_message& message, std::string& answer)>;

// What of a message goes on after it was carried out: true once it is over, with its last lines added to the answer.
using rest_of_answer = std::function<bool(std::string& answer)>;

enum class handover_result {
  carried_out,
  refused,    // somebody is there who does not carry it out
  nobody,     // is there
  no_answer,  // somebody listens, and did not take the message within ten seconds
};

// One instance's end of the line. Main thread, with one thread of its own while it serves: that one reads messages and
// writes answers, so that a peer that is slow, silent or talks nonsense never holds up the main thread.
class handover {
 public:
  explicit handover(std::string address);
  ~handover();
  handover(const handover&) = delete;
  handover& operator=(const handover&) = delete;

  // Gives the message to the instance that serves and waits until it has been carried out, however long that takes;
  // lines of the answer go to `show`. With `claim` and nobody there this instance is then the one that later senders
  // find: they wait until it serves or ends, so that of several that start at once just one stays.
  handover_result send(const handover_message& message, bool claim,
                       const std::function<void(const answer_record&)>& show);

  // Starts to serve, or goes on trying with each poll() while another instance does. `wake` is called from another
  // thread when a message waits for poll().
  void serve(std::function<void()> wake);
  bool serving() const { return server_ != nullptr; }
  // Carries out the messages that wait. A call from within `carry_out` does nothing. Where that throws std::bad_alloc,
  // the sender hears of it and the line counts as carried out: what it did before is done.
  void poll(const carry_out_function& carry_out);
  // From within `carry_out`: the sender has its answer when `rest` gives true, which each poll() asks, or at stop().
  // An empty one holds nothing.
  void hold(rest_of_answer rest) { rest_ = std::move(rest); }
  // Ends serving and gives the claim up. Senders that wait without an answer find the next instance, or nobody.
  void stop();

 private:
  struct held_answer;

  bool claim();
  void try_to_serve();
  void answer(const handover_message& message, descriptor& peer, const carry_out_function& carry_out);
  void answer_held(bool at_once);

  std::string address_;
  std::unique_ptr<file_lock> lock_;  // held by the instance that owns the socket
  int socket_ = -1;                  // listening; owned
  std::function<void()> wake_;
  std::unique_ptr<handover_server> server_;
  rest_of_answer rest_;  // of the message that is carried out
  std::list<held_answer> held_;
  long long next_try_ = 0;  // milliseconds of a steady clock
  bool wants_to_serve_ = false;
  bool polling_ = false;
};

}  // namespace platform
