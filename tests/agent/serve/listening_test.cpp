// SPDX-License-Identifier: Apache-2.0
// The sockets at which a server listens, and telling systemd about it.
#include "agent/front/serve/listening.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "agent/front/serve/notify.h"
#include "agent/front/serve/trouble.h"
#include "tests/agent/serve/client.h"

namespace listening_test {

namespace {

namespace fs = std::filesystem;
using serve::Listening;
using serve::parseAddress;

constexpr char kFolder[] = "/var/zebmon";
constexpr char kPath[] = "/var/zebmon/socket";

class SocketFile : public testing::Test {
 protected:
  SocketFile() { fs::create_directory(kFolder); }
  ~SocketFile() override { fs::remove_all(kFolder); }

  static Listening listen(const std::string& path = kPath, const serve::SocketRights& rights = {}) {
    return Listening::at({.path = path}, rights);
  }

  // What is wrong with listening at a path; empty when nothing is.
  static std::string problem(const std::string& path = kPath,
                             const serve::SocketRights& rights = {}) {
    try {
      listen(path, rights);
    } catch (const serve::Trouble& trouble) {
      return trouble.sentence;
    }
    return "";
  }
};

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != text.npos;
}

}  // namespace

TEST(Addresses, AreNumbersWithAPortOrPaths) {
  EXPECT_EQ("127.0.0.1", parseAddress("127.0.0.1:9847")->host);
  EXPECT_EQ(9847, parseAddress("127.0.0.1:9847")->port);
  EXPECT_EQ("127.0.0.1", parseAddress("localhost:1")->host);
  EXPECT_EQ("::1", parseAddress("[::1]:0")->host);
  EXPECT_EQ("0.0.0.0", parseAddress("0.0.0.0:65535")->host);
  EXPECT_EQ("/run/a:b", parseAddress("unix:/run/a:b")->path);
  for (const char* text : {"", ":", "9847", ":9847", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536",
                           "127.0.0.1:-1", "127.0.0.1: 1", "::1:9847", "[127.0.0.1]:1", "[::1]",
                           "web1:9847", "unix:", "[]:1", "127.1:1", "127.0.0.1:1x"}) {
    EXPECT_FALSE(parseAddress(text)) << text;
  }
}

TEST(ListeningSockets, TellWhereTheyAre) {
  const Listening four = Listening::at({.host = "127.0.0.1", .port = 0}, {});
  EXPECT_TRUE(four.isLocal());
  EXPECT_EQ("127.0.0.1", four.host());
  EXPECT_TRUE(four.shown(false).starts_with("http://127.0.0.1:"));
  EXPECT_TRUE(four.shown(true).starts_with("https://127.0.0.1:"));
  EXPECT_FALSE(has(four.shown(false), ":0/"));
  const Listening every = Listening::at({.host = "0.0.0.0", .port = 0}, {});
  EXPECT_FALSE(every.isLocal());
}

TEST(ListeningSockets, APlaceThatIsTakenIsSaid) {
  const FreePort port;
  try {
    Listening::at({.host = "127.0.0.1", .port = port.number()}, {});
    ADD_FAILURE() << "nothing was said";
  } catch (const serve::Trouble& trouble) {
    EXPECT_EQ(EADDRINUSE, trouble.error);
    EXPECT_TRUE(has(trouble.sentence, "Choose another --listen")) << trouble.sentence;
  }
}

TEST_F(SocketFile, IsOpenToItsGroupAndGoesWithTheServer) {
  {
    const Listening socket = listen();
    EXPECT_EQ(fs::perms(0660), fs::status(kPath).permissions());
    EXPECT_TRUE(socket.isLocal());
    EXPECT_EQ("", socket.host());
    EXPECT_EQ("unix:/var/zebmon/socket", socket.shown(false));
  }
  EXPECT_FALSE(fs::exists(kPath));
}

TEST_F(SocketFile, HasTheModeThatWasAskedFor) {
  const Listening socket = listen(kPath, {.mode = 0600});
  EXPECT_EQ(fs::perms(0600), fs::status(kPath).permissions());
  EXPECT_TRUE(has(problem("/var/zebmon/other", {.group = "no such group"}), "there is no group"));
  EXPECT_FALSE(fs::exists("/var/zebmon/other")) << "a start that failed leaves nothing";
}

TEST_F(SocketFile, LiesWhereOthersCantWrite) {
  EXPECT_TRUE(has(problem("/tmp/socket"), "others may write in /tmp"));
  fs::create_directory("/tmp/own");
  fs::permissions("/tmp/own", fs::perms(0700));
  EXPECT_TRUE(has(problem("/tmp/own/socket"), "others may write"));
  fs::create_directory_symlink("/tmp/own", "/var/zebmon/link");
  EXPECT_TRUE(has(problem("/var/zebmon/link/socket"), "others may write"));
  fs::remove_all("/tmp/own");
  for (const auto mode : {fs::perms(0777), fs::perms(0775)}) {
    fs::permissions(kFolder, mode);
    EXPECT_TRUE(has(problem(), "others may write"));
  }
  fs::permissions(kFolder, fs::perms(0755));
  EXPECT_TRUE(has(problem("/var/none/socket"), "No such file"));
  EXPECT_TRUE(has(problem("/var/zebmon/" + std::string(100, 'a')), "too long"));
}

// Who owns the link could let it lead elsewhere once the folder was looked at.
TEST_F(SocketFile, IsMadeBehindNoLink) {
  fs::create_directory("/var/zebmon/real");
  fs::create_directory_symlink("/var/zebmon/real", "/var/zebmon/link");
  const Listening socket = listen("/var/zebmon/link/socket");
  EXPECT_EQ("unix:/var/zebmon/real/socket", socket.shown(false));
}

TEST_F(SocketFile, ThatWasLeftOverIsReplaced) {
  const int old = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string(kPath).copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(0, bind(old, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  close(old);
  ASSERT_TRUE(fs::exists(kPath));
  EXPECT_EQ("", problem());
}

TEST_F(SocketFile, OfALivingServerStays) {
  const Listening first = listen();
  EXPECT_TRUE(has(problem(), "another process listens"));
  EXPECT_TRUE(fs::exists(kPath));
}

TEST_F(SocketFile, IsNeverAnythingElse) {
  std::ofstream(kPath) << "precious";
  EXPECT_TRUE(has(problem(), "no socket"));
  fs::remove(kPath);
  fs::create_symlink("/var/zebmon/elsewhere", kPath);
  EXPECT_TRUE(has(problem(), "no socket"));
}

TEST_F(SocketFile, OfASuccessorStays) {
  {
    const Listening socket = listen();
    fs::remove(kPath);
    std::ofstream(kPath) << "somebody else's";
  }
  EXPECT_TRUE(fs::exists(kPath));
}

TEST(Inherited, AreNoneWithoutSystemd) {
  unsetenv("LISTEN_PID");
  EXPECT_TRUE(Listening::inherited().empty());
  setenv("LISTEN_PID", "1", 1);
  setenv("LISTEN_FDS", "1", 1);
  EXPECT_TRUE(Listening::inherited().empty()) << "they are another process's";
}

TEST(Inherited, HaveToListen) {
  for (const char* const count : {"0", "-1", "x", "17", "1"}) {
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    setenv("LISTEN_FDS", count, 1);
    const int pipe = open("/dev/null", O_RDONLY);
    EXPECT_THROW(Listening::inherited(), serve::Trouble) << count;
    EXPECT_EQ(nullptr, getenv("LISTEN_FDS"));
    close(pipe);
  }
}

TEST(Notification, GoesToTheSocketThatIsNamed) {
  unsetenv("NOTIFY_SOCKET");
  EXPECT_FALSE(serve::notify("READY=1"));
  for (const char* const name : {"/var/notify", "@zebmon notify test"}) {
    const int receiver = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string text = name;
    text.copy(address.sun_path, sizeof address.sun_path - 1);
    if (*name == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size());
    ASSERT_EQ(0, bind(receiver, reinterpret_cast<const sockaddr*>(&address), size));
    setenv("NOTIFY_SOCKET", name, 1);
    EXPECT_TRUE(serve::notify("READY=1")) << name;
    char got[100] = "";
    EXPECT_EQ(7, recv(receiver, got, sizeof got, 0));
    EXPECT_STREQ("READY=1", got);
    close(receiver);
    fs::remove("/var/notify");
  }
  EXPECT_FALSE(serve::notify("READY=1")) << "nobody is there any more";
  for (const std::string& name : {std::string("relative"), "/" + std::string(200, 'a')}) {
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
    EXPECT_FALSE(serve::notify("READY=1"));
  }
  unsetenv("NOTIFY_SOCKET");
}

}  // namespace listening_test
