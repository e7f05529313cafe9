// The socket on which the instances of one user on one display find each other.
#pragma once

#include <string>
#include <string_view>

#include "platform/linux/descriptor.h"

namespace platform {

// `address` is that of platform::handover_address() throughout.

// Listens, in place of whoever left a socket there; none when that is refused. Call it with the lock held.
descriptor listen_at(const std::string& address);
// A connection to whoever listens, none when nobody does. Neither connecting nor sending waits for longer than
// `milliseconds` at a time.
descriptor connect_to(const std::string& address, int milliseconds);
void remove_socket(const std::string& address);

// Whether the process at the other end belongs to this user.
bool is_same_user(int socket);
// False when the other end does not take all of it.
bool send_all(int socket, std::string_view bytes);
// The longest wait for something to read; 0 for any.
void limit_reading(int socket, int milliseconds);

// Milliseconds of a steady clock.
long long steady_milliseconds();

}  // namespace platform
