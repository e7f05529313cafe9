#include "platform/qt/keys.h"

#include <xcb/xcb.h>
#include <QGuiApplication>
#include <QKeyEvent>
#include <cstdlib>
#include <memory>

#include "platform/desktop.h"

namespace platform {
namespace {

struct key_row {
  int qt;
  int virtual_key;
};

// Characters stand for the key that bears them on a US layout, shifted or not.
constexpr key_row keys[] = {
    {Qt::Key_Backspace, 8},     {Qt::Key_Tab, 9},          {Qt::Key_Backtab, 9},      {Qt::Key_Return, 13},
    {Qt::Key_Enter, 13},        {Qt::Key_Escape, 27},      {Qt::Key_Space, 32},       {Qt::Key_PageUp, 33},
    {Qt::Key_PageDown, 34},     {Qt::Key_End, 35},         {Qt::Key_Home, 36},        {Qt::Key_Left, 37},
    {Qt::Key_Up, 38},           {Qt::Key_Right, 39},       {Qt::Key_Down, 40},        {Qt::Key_Insert, 45},
    {Qt::Key_Delete, 46},       {Qt::Key_Semicolon, 186},  {Qt::Key_Colon, 186},      {Qt::Key_Equal, 187},
    {Qt::Key_Plus, 187},        {Qt::Key_Comma, 188},      {Qt::Key_Less, 188},       {Qt::Key_Minus, 189},
    {Qt::Key_Underscore, 189},  {Qt::Key_Period, 190},     {Qt::Key_Greater, 190},    {Qt::Key_Slash, 191},
    {Qt::Key_Question, 191},    {Qt::Key_QuoteLeft, 192},  {Qt::Key_AsciiTilde, 192}, {Qt::Key_BracketLeft, 219},
    {Qt::Key_BraceLeft, 219},   {Qt::Key_Backslash, 220},  {Qt::Key_Bar, 220},        {Qt::Key_BracketRight, 221},
    {Qt::Key_BraceRight, 221},  {Qt::Key_Apostrophe, 222}, {Qt::Key_QuoteDbl, 222},   {Qt::Key_Exclam, '1'},
    {Qt::Key_At, '2'},          {Qt::Key_NumberSign, '3'}, {Qt::Key_Dollar, '4'},     {Qt::Key_Percent, '5'},
    {Qt::Key_AsciiCircum, '6'}, {Qt::Key_Ampersand, '7'},  {Qt::Key_Asterisk, '8'},   {Qt::Key_ParenLeft, '9'},
    {Qt::Key_ParenRight, '0'},
};

constexpr key_row keypad[] = {
    {Qt::Key_Asterisk, 106}, {Qt::Key_Plus, 107},  {Qt::Key_Minus, 109},
    {Qt::Key_Period, 110},   {Qt::Key_Comma, 110}, {Qt::Key_Slash, 111},
};

int virtual_key_of(int key, bool on_keypad) {
  if (on_keypad) {
    if (key >= Qt::Key_0 && key <= Qt::Key_9) return 96 + key - Qt::Key_0;
    for (const key_row& row : keypad) {
      if (row.qt == key) return row.virtual_key;
    }
  }
  if ((key >= Qt::Key_A && key <= Qt::Key_Z) || (key >= Qt::Key_0 && key <= Qt::Key_9)) return key;
  if (key >= Qt::Key_F1 && key <= Qt::Key_F24) return 112 + key - Qt::Key_F1;
  for (const key_row& row : keys) {
    if (row.qt == key) return row.virtual_key;
  }
  return 0;
}

// Whether Caps Lock is on, as of the last key where the display can't be asked.
bool& last_caps() {
  static bool on = false;
  return on;
}

bool caps_lock() {
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (!x11 || !x11->connection()) return last_caps();
  xcb_connection_t* connection = x11->connection();
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  const std::unique_ptr<xcb_query_pointer_reply_t, decltype(&std::free)> reply(
      xcb_query_pointer_reply(connection, xcb_query_pointer(connection, root), nullptr), std::free);
  if (reply) last_caps() = (reply->mask & XCB_MOD_MASK_LOCK) != 0;
  return last_caps();
}

}  // namespace

int modifiers_of(Qt::KeyboardModifiers modifiers) {
  return (modifiers & Qt::ShiftModifier ? key_shift : 0) | (modifiers & Qt::ControlModifier ? key_ctrl : 0) |
         (modifiers & Qt::AltModifier ? key_alt : 0) | (last_caps() ? key_caps : 0);
}

int modifiers_now() {
  const bool caps = caps_lock();
  return (modifiers_of(QGuiApplication::queryKeyboardModifiers()) & ~key_caps) | (caps ? key_caps : 0);
}

bool is_modifier_key(const QKeyEvent& event) {
  switch (event.key()) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_CapsLock:
      return true;
    default:
      return false;
  }
}

int modifiers_after(const QKeyEvent& event, bool pressed) {
  if (event.key() == Qt::Key_CapsLock) {
    if (pressed) last_caps() = !last_caps();
    caps_lock();
  }
  int result = modifiers_of(event.modifiers());
  const int own = event.key() == Qt::Key_Shift     ? key_shift
                  : event.key() == Qt::Key_Control ? key_ctrl
                  : event.key() == Qt::Key_Alt     ? key_alt
                                                   : 0;
  result = pressed ? result | own : result & ~own;
  return result;
}

int key_code_of(const QKeyEvent& event) {
  const Qt::KeyboardModifiers modifiers = event.modifiers();
  const int key = virtual_key_of(event.key(), modifiers & Qt::KeypadModifier);
  if (key == 0) return 0;
  return key | (modifiers_of(modifiers) & ~key_caps);
}

}  // namespace platform
