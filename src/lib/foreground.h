// Work that somebody waits for, and work ahead of it that lets it have the processors meanwhile.
//
// A thread that decodes for later takes its processor in stretches of milliseconds, and a picture that is due in the
// middle of one would wait for its end several times, once for each loop that it shares among threads. The system's
// priorities do not help: what a user may lower they may not raise again, and beside other programs a lowered thread
// gets nothing. So the threads themselves stand aside, between two pieces of their work.
#pragma once

namespace lib {

// While one lives, somebody waits for the calling thread. Any number of threads may have one, or one in another.
class foreground_scope {
 public:
  explicit foreground_scope(bool active = true);
  ~foreground_scope();
  foreground_scope(const foreground_scope&) = delete;
  foreground_scope& operator=(const foreground_scope&) = delete;

 private:
  bool active_;
};

// While one lives, the scopes of the calling thread do not count: it waits for a thread that works ahead itself.
class foreground_break {
 public:
  foreground_break();
  ~foreground_break();
  foreground_break(const foreground_break&) = delete;
  foreground_break& operator=(const foreground_break&) = delete;

 private:
  int depth_;
};

// While one lives, the calling thread works ahead.
class ahead_scope {
 public:
  ahead_scope();
  ~ahead_scope();
  ahead_scope(const ahead_scope&) = delete;
  ahead_scope& operator=(const ahead_scope&) = delete;

 private:
  bool before_;
};

// Called by decoders after each tenth of a millisecond or so of work, with no lock held. On a thread that works ahead
// it waits while somebody waits for another thread, but not for longer than it takes to draw a few pictures: who still
// is waited for then does not decode. Any other thread returns at once.
void give_way();
// How long the calling thread has stood aside in its life, in seconds.
double seconds_given_way();

}  // namespace lib
