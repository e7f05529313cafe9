#include "platform/qt/keys.h"

#include <QKeyEvent>

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

}  // namespace

int key_code_of(const QKeyEvent& event) {
  const Qt::KeyboardModifiers modifiers = event.modifiers();
  const int key = virtual_key_of(event.key(), modifiers & Qt::KeypadModifier);
  if (key == 0) return 0;
  return key | (modifiers & Qt::ShiftModifier ? key_shift : 0) | (modifiers & Qt::ControlModifier ? key_ctrl : 0) |
         (modifiers & Qt::AltModifier ? key_alt : 0);
}

}  // namespace platform
