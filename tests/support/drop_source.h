// A program from which files are dragged, by the drag-and-drop protocol of X (XDND, version 5).
#pragma once

#include <poll.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace support {

class drop_source {
 public:
  explicit drop_source(const std::string& display) : connection_(xcb_connect(display.c_str(), nullptr)) {
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    root_ = screen->root;
    window_ = xcb_generate_id(connection_);
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, root_, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, 0, nullptr);
  }
  ~drop_source() { xcb_disconnect(connection_); }
  drop_source(const drop_source&) = delete;
  drop_source& operator=(const drop_source&) = delete;

  // Drags `data` of `type` to a place of the screen and lets go there. False when it is refused, or nobody answers.
  bool drop(xcb_window_t target, int x, int y, const std::string& type, const std::string& data) {
    xcb_set_selection_owner(connection_, window_, atom("XdndSelection"), XCB_CURRENT_TIME);
    send(target, "XdndEnter", {window_, 5u << 24, atom(type), 0, 0});
    send(target, "XdndPosition",
         {window_, 0, static_cast<std::uint32_t>(x << 16 | y), XCB_CURRENT_TIME, atom("XdndActionCopy")});
    bool accepted = false;
    if (!answered("XdndStatus", type, data, &accepted) || !accepted) {
      send(target, "XdndLeave", {window_, 0, 0, 0, 0});
      return false;
    }
    send(target, "XdndDrop", {window_, 0, XCB_CURRENT_TIME, 0, 0});
    return answered("XdndFinished", type, data, &accepted);
  }

 private:
  xcb_connection_t* connection_;
  xcb_window_t root_;
  xcb_window_t window_;
  std::map<std::string, xcb_atom_t> atoms_;

  xcb_atom_t atom(const std::string& name) {
    xcb_atom_t& known = atoms_[name];
    if (known == 0) {
      xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
          connection_, xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr);
      if (reply) known = reply->atom;
      free(reply);
    }
    return known;
  }

  struct words {
    std::uint32_t data[5];
  };
  void send(xcb_window_t target, const std::string& type, const words& words) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = target;
    event.type = atom(type);
    std::memcpy(event.data.data32, words.data, sizeof words.data);
    xcb_send_event(connection_, 0, target, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(connection_);
  }

  // Hands the data out until the message comes.
  bool answered(const std::string& message, const std::string& type, const std::string& data, bool* accepted) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(3);
    while (std::chrono::steady_clock::now() < end && !xcb_connection_has_error(connection_)) {
      xcb_generic_event_t* event = xcb_poll_for_event(connection_);
      if (!event) {
        pollfd readable{xcb_get_file_descriptor(connection_), POLLIN, 0};
        poll(&readable, 1, 100);
        continue;
      }
      const int kind = event->response_type & 0x7F;
      bool found = false;
      if (kind == XCB_SELECTION_REQUEST) {
        hand_out(*reinterpret_cast<xcb_selection_request_event_t*>(event), type, data);
      } else if (kind == XCB_CLIENT_MESSAGE) {
        const auto& told = *reinterpret_cast<xcb_client_message_event_t*>(event);
        found = told.type == atom(message);
        if (found) *accepted = (told.data.data32[1] & 1) != 0;
      }
      free(event);
      if (found) return true;
    }
    return false;
  }

  void hand_out(const xcb_selection_request_event_t& request, const std::string& type, const std::string& data) {
    xcb_selection_notify_event_t answer{};
    answer.response_type = XCB_SELECTION_NOTIFY;
    answer.time = request.time;
    answer.requestor = request.requestor;
    answer.selection = request.selection;
    answer.target = request.target;
    if (request.target == atom(type)) {
      answer.property = request.property;
      xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, request.requestor, request.property, request.target, 8,
                          static_cast<std::uint32_t>(data.size()), data.data());
    }
    xcb_send_event(connection_, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&answer));
    xcb_flush(connection_);
  }
};

}  // namespace support
