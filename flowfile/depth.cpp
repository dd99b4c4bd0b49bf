// SPDX-License-Identifier: Apache-2.0
#include "flowfile/depth.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace flowfile {
namespace {

class Scan {
 public:
  explicit Scan(std::string_view text) : rest_(text) {}

  std::optional<Finding> run() {
    while (!rest_.empty() && !found_) step();
    return found_;
  }

 private:
  void step() {
    const char c = rest_.front();
    if (c == '"' || c == '\'') return skipString(c);
    if (c == '#') return skip(std::min(rest_.find('\n'), rest_.size()));
    skip(1);
    if (c == '.' && ++parts_ > kDeepest) note("a key of more than {} parts");
    if (c == '=') keyParts_ = std::exchange(parts_, 1);
    if (c == '[' || c == '{') open();
    if ((c == ']' || c == '}') && !opened_.empty()) close();
    if (c == ',' || c == '\n' || c == '[' || c == '{') parts_ = keyParts_ = 1;
  }

  void open() {
    opened_.push_back(keyParts_);
    levels_ += keyParts_;
    if (levels_ > kDeepest) note("more than {} levels of nesting");
  }

  void close() {
    levels_ -= opened_.back();
    opened_.pop_back();
  }

  // A string that is never closed ends with its line, or with the text when it may have several.
  void skipString(char quote) {
    const std::string three(3, quote);
    const bool lines = rest_.starts_with(three);
    const std::string_view end = lines ? std::string_view(three) : std::string_view(&quote, 1);
    skip(end.size());
    while (!rest_.empty() && !rest_.starts_with(end) && (lines || rest_.front() != '\n')) {
      skip(quote == '"' && rest_.front() == '\\' && rest_.size() > 1 ? 2 : 1);
    }
    if (rest_.starts_with(end)) skip(end.size());
  }

  void skip(std::size_t bytes) {
    for (const char c : rest_.substr(0, bytes)) {
      const bool begins = (static_cast<unsigned char>(c) & 0xC0U) != 0x80;
      if (begins) ++place_.column;
      if (c == '\n') place_ = {place_.line + 1, 1};
    }
    rest_.remove_prefix(bytes);
  }

  void note(const char* what) {
    if (found_) return;
    const std::string found = fmt::format(fmt::runtime(what), kDeepest);
    found_ = Finding{place_, found + "; a flow file needs no more than 6"};
  }

  std::string_view rest_;
  Place place_{1, 1};
  unsigned parts_ = 1;     // of the key that is being read
  unsigned keyParts_ = 1;  // of the key whose value is being read
  std::vector<unsigned> opened_;
  unsigned levels_ = 0;
  std::optional<Finding> found_;
};

}  // namespace

std::optional<Finding> tooDeep(std::string_view toml) {
  return Scan(toml).run();
}

}  // namespace flowfile
