// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/token.h"

#include <fcntl.h>
#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "agent/front/serve/trouble.h"

namespace serve {
namespace {

constexpr std::size_t kShortest = 32;
constexpr std::size_t kLongest = 4096;

std::array<std::uint8_t, 32> sha256(std::string_view text) {
  std::array<std::uint8_t, 32> digest{};
  if (gnutls_hash_fast(GNUTLS_DIG_SHA256, text.data(), text.size(), digest.data()) != 0) {
    throw Trouble{Trouble::Kind::system, "can't calculate a SHA-256. Install GnuTLS again", 0};
  }
  return digest;
}

class File {
 public:
  explicit File(const std::string& path)
      : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (descriptor_ < 0) {
      throw failedCall("read the token in " + path, errno, "Name a file that this user may read");
    }
  }
  ~File() { close(descriptor_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  struct stat facts() const {
    struct stat facts {};
    fstat(descriptor_, &facts);
    return facts;
  }

  // At most one byte more than a token and a line end may have.
  std::string text() const {
    std::string text(kLongest + 3, '\0');
    const ssize_t length = read(descriptor_, text.data(), text.size());
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return text;
  }

 private:
  int descriptor_;
};

// systemd closes its folder of credentials to all but the service, whose files have other owners.
bool isCredential(const std::string& path) {
  const char* const folder = std::getenv("CREDENTIALS_DIRECTORY");
  return folder != nullptr && *folder == '/' && path.starts_with(std::string(folder) + "/") &&
         path.find("/../") == path.npos;
}

void refuse(const std::string& path, const std::string& why) {
  throw Trouble{Trouble::Kind::usage, "the token file " + path + " " + why, 0};
}

void requireClosed(const std::string& path, const struct stat& facts) {
  if (!S_ISREG(facts.st_mode)) refuse(path, "is no regular file. Name one that holds the token");
  if (isCredential(path)) return;
  if (facts.st_uid != geteuid() && facts.st_uid != 0) {
    refuse(path, "belongs to another user. Make it this user's or root's: chown");
  }
  if ((facts.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    refuse(path, "is open to group or others. Close it: chmod 600");
  }
}

}  // namespace

Token::Token(std::string_view secret) : digest_(sha256(secret)) {}

bool Token::is(std::string_view secret) const {
  const std::array<std::uint8_t, 32> digest = sha256(secret);
  return gnutls_memcmp(digest.data(), digest_.data(), digest.size()) == 0;
}

Token readToken(const std::string& path) {
  const File file(path);
  requireClosed(path, file.facts());
  const std::string text = file.text();
  constexpr std::string_view kAround = " \t\r\n";
  const auto begin = text.find_first_not_of(kAround);
  const std::string token =
      begin == text.npos ? "" : text.substr(begin, text.find_last_not_of(kAround) - begin + 1);
  if (token.size() < kShortest || token.size() > kLongest) {
    refuse(path, "holds " + std::to_string(token.size()) +
                     " characters, and a token has 32 to 4096. Make one: openssl rand -hex 32");
  }
  if (!std::ranges::all_of(token, [](char c) { return c > ' ' && c <= '~'; })) {
    refuse(path, "holds a blank or what is no ASCII. Make a token: openssl rand -hex 32");
  }
  return Token(token);
}

}  // namespace serve
