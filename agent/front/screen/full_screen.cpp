// SPDX-License-Identifier: Apache-2.0
#include "agent/front/screen/full_screen.h"

// Its macros would rename what others declare.
#define NCURSES_NOMACROS
#define NCURSES_WIDECHAR 1
#include <ncurses.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wchar.h>

#include <algorithm>
#include <clocale>
#include <string>

#include "agent/front/screen/crash.h"
#include "agent/front/screen/terminfo.h"
#include "text/printable.h"
#include "text/utf8.h"

namespace terminal {
namespace {

using Kind = top::Key::Kind;
using render::Attribute;

constexpr short kYellowPair = 1;
constexpr short kRedPair = 2;

// Texts are UTF-8, also where the locale is not.
void chooseLocale() {
  std::setlocale(LC_CTYPE, "");
  if (MB_CUR_MAX == 1) std::setlocale(LC_CTYPE, "C.UTF-8");
}

// Characters that the terminal's own tables don't know would be drawn anyhow, at any width.
std::wstring wide(std::string_view utf8) {
  std::wstring text;
  while (!utf8.empty()) {
    const text::Step step = text::firstOf(utf8);
    const auto character = static_cast<wchar_t>(step.point);
    text += step.valid && wcwidth(character) >= 0 ? character : L'?';
    utf8.remove_prefix(step.bytes);
  }
  return text;
}

std::string utf8(wint_t character) {
  std::string text;
  text::append(text, static_cast<char32_t>(character));
  return text;
}

top::Key characterKey(wint_t character) {
  switch (character) {
    case L'\r':
    case L'\n':
      return {Kind::enter};
    case 27:
      return {Kind::escape};
    case 8:
    case 127:
      return {Kind::backspace};
    default:
      return {Kind::character, utf8(character)};
  }
}

top::Key functionKey(wint_t code) {
  switch (code) {
    case KEY_UP:
      return {Kind::up};
    case KEY_DOWN:
      return {Kind::down};
    case KEY_LEFT:
      return {Kind::left};
    case KEY_RIGHT:
      return {Kind::right};
    case KEY_PPAGE:
      return {Kind::pageUp};
    case KEY_NPAGE:
      return {Kind::pageDown};
    case KEY_HOME:
      return {Kind::home};
    case KEY_END:
      return {Kind::end};
    case KEY_ENTER:
      return {Kind::enter};
    case KEY_BACKSPACE:
      return {Kind::backspace};
    case KEY_F(1):
      return {Kind::help};
    default:
      return {Kind::other};
  }
}

// The library takes these signals; here they are told of by Signals, or stop the process.
void leaveSignals() {
  for (const int number : {SIGINT, SIGTERM, SIGTSTP, SIGWINCH}) signal(number, SIG_DFL);
}

void startColors() {
  start_color();
  use_default_colors();
  init_pair(kYellowPair, COLOR_YELLOW, -1);
  init_pair(kRedPair, COLOR_RED, -1);
}

// A terminal sends these keys in one of two ways, after who used it last. Its description knows one
// of them, and a key may be pressed before the terminal is told which.
void knowBothCursorModes() {
  struct Letter {
    char ends;
    int key;
  };
  constexpr Letter kLetters[] = {{'A', KEY_UP},   {'B', KEY_DOWN}, {'C', KEY_RIGHT},
                                 {'D', KEY_LEFT}, {'H', KEY_HOME}, {'F', KEY_END}};
  for (const Letter& letter : kLetters) {
    for (const char* const begins : {"\x1b[", "\x1bO"}) {
      define_key((begins + std::string(1, letter.ends)).c_str(), letter.key);
    }
  }
}

// Where there are no colours, boldness takes their place.
attr_t looksOf(Attribute attribute, bool colors) {
  switch (attribute) {
    case Attribute::strong:
      return A_BOLD;
    case Attribute::warning:
      return colors ? static_cast<attr_t>(COLOR_PAIR(kYellowPair)) : A_BOLD;
    case Attribute::critical:
      return colors ? static_cast<attr_t>(COLOR_PAIR(kRedPair)) | A_BOLD : A_BOLD;
    case Attribute::chosen:
      return A_REVERSE | A_BOLD;
    case Attribute::bar:
      return A_REVERSE;
    case Attribute::plain:
      break;
  }
  return A_NORMAL;
}

void drawLine(const render::Line& line, int row, bool colors) {
  std::size_t column = 0;
  for (const render::Span& span : line) {
    attrset(static_cast<int>(looksOf(span.attribute, colors)));
    mvaddwstr(row, static_cast<int>(column), wide(span.text).c_str());
    column += text::columns(span.text);
  }
}

}  // namespace

std::unique_ptr<FullScreen> FullScreen::open(bool colors) {
  chooseLocale();
  if (!canMoveTheCursor()) return nullptr;
  guardAgainstCrashes(restoreSequence());
  if (newterm(nullptr, stdout, stdin) == nullptr) {
    endGuard();
    return nullptr;
  }
  return std::unique_ptr<FullScreen>(new FullScreen(colors));
}

FullScreen::FullScreen(bool colors) : colors_(colors && has_colors()) {
  leaveSignals();
  constexpr int kEscapeDelay = 25;  // milliseconds until Escape is a key of its own
  cbreak();
  noecho();
  nonl();
  nodelay(stdscr, TRUE);
  typeahead(-1);
  keypad(stdscr, TRUE);
  knowBothCursorModes();
  set_escdelay(kEscapeDelay);
  curs_set(0);
  if (colors_) startColors();
}

FullScreen::~FullScreen() {
  endwin();
  endGuard();
}

top::Size FullScreen::size() const {
  return {static_cast<std::size_t>(std::max(getmaxy(stdscr), 1)),
          static_cast<std::size_t>(std::max(getmaxx(stdscr), 1))};
}

void FullScreen::draw(const std::vector<render::Line>& lines) {
  erase();
  int row = 0;
  for (const render::Line& line : lines) drawLine(line, row++, colors_);
  attrset(A_NORMAL);
  refresh();
}

std::optional<top::Key> FullScreen::key() {
  wint_t character = 0;
  const int kind = get_wch(&character);
  if (kind == ERR) return {};
  return kind == KEY_CODE_YES ? functionKey(character) : characterKey(character);
}

void FullScreen::resize() {
  winsize now{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &now) != 0 || now.ws_row == 0 || now.ws_col == 0) return;
  resizeterm(now.ws_row, now.ws_col);
}

void FullScreen::stop() {
  endwin();
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTSTP);
  raise(SIGTSTP);
  sigprocmask(SIG_UNBLOCK, &stop, nullptr);
  sigprocmask(SIG_BLOCK, &stop, nullptr);
  takeAgain();
}

void FullScreen::takeAgain() {
  endwin();
  resize();
  clearok(curscr, TRUE);
  refresh();
}

}  // namespace terminal
