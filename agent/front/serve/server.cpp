// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/server.h"

#include <fmt/format.h>
#include <gnutls/gnutls.h>
#include <malloc.h>

#include <algorithm>
#include <csignal>
#include <ctime>

#include "agent/front/serve/answers.h"
#include "agent/front/serve/event_book.h"
#include "agent/front/serve/http_server.h"
#include "agent/front/serve/keeper.h"
#include "agent/front/serve/lockdown.h"
#include "agent/front/serve/notify.h"
#include "agent/front/serve/trouble.h"
#include "agent/front/serve/watcher.h"
#include "agent/reader/bounded_file.h"
#include "agent/reader/letters.h"
#include "format/version.h"
#include "text/printable.h"

namespace serve {
namespace {

constexpr std::size_t kMostPem = 1 << 20;

std::vector<Listening> listeningFor(const Options& options) {
  std::vector<Listening> sockets = Listening::inherited();
  if (sockets.empty()) sockets.push_back(Listening::at(options.listen, options.rights));
  return sockets;
}

std::string pemIn(const std::string& path) {
  reader::FileText file = reader::readFile(path, kMostPem);
  if (file.error == 0) return std::move(file.text);
  throw failedCall("read " + path, file.error, "Name a PEM file that this user may read");
}

std::optional<Identity> identityOf(const Options& options) {
  if (options.certificateFile.empty()) return {};
  Identity identity{pemIn(options.certificateFile), pemIn(options.keyFile)};
  const auto datumOf = [](std::string& text) {
    return gnutls_datum_t{reinterpret_cast<unsigned char*>(text.data()),
                          static_cast<unsigned>(text.size())};
  };
  const gnutls_datum_t certificate = datumOf(identity.certificate);
  const gnutls_datum_t key = datumOf(identity.key);
  gnutls_certificate_credentials_t credentials = nullptr;
  int result = gnutls_certificate_allocate_credentials(&credentials);
  if (result == 0) {
    result =
        gnutls_certificate_set_x509_key_mem(credentials, &certificate, &key, GNUTLS_X509_FMT_PEM);
    gnutls_certificate_free_credentials(credentials);
  }
  if (result >= 0) return identity;
  throw Trouble{Trouble::Kind::usage,
                options.certificateFile + " and " + options.keyFile +
                    " are no certificate with its key: " + gnutls_strerror(result) +
                    ". Name two PEM files that belong together",
                0};
}

// What an address that other machines reach lacks; empty when it lacks nothing.
std::string lacking(const Options& options) {
  std::string lacks = options.tokenFile.empty() ? "--token-file" : "";
  if (options.certificateFile.empty()) {
    lacks += std::string(lacks.empty() ? "" : " and ") + "--tls-certificate with --tls-key";
  }
  return lacks;
}

void requireGuard(const Options& options, const std::vector<Listening>& sockets) {
  const std::string lacks = lacking(options);
  if (lacks.empty() || options.insecure) return;
  for (const Listening& socket : sockets) {
    if (socket.isLocal()) continue;
    throw Trouble{Trouble::Kind::usage,
                  socket.shown(!options.certificateFile.empty()) +
                      " can be reached from other machines and lacks " + lacks +
                      ". Give that, or --insecure if it lacks it on purpose",
                  0};
  }
}

Rules rulesOf(const Options& options, const std::vector<Listening>& sockets) {
  Rules rules;
  rules.tls = !options.certificateFile.empty();
  rules.events = options.events;
  if (!options.tokenFile.empty()) rules.token = readToken(options.tokenFile);
  for (const std::string& host : options.hosts) rules.hosts.push_back(reader::lowered(host));
  for (const Listening& socket : sockets) {
    const std::string host = socket.host();
    if (!host.empty()) rules.hosts.push_back(host);
  }
  return rules;
}

std::string shutText(HttpServer::Shut why) {
  using Shut = HttpServer::Shut;
  switch (why) {
    case Shut::request:
      return "a connection was closed: its request was not complete in time";
    case Shut::answer:
      return "a connection was closed: it didn't take its answer in time";
    case Shut::idle:
      return {};
    case Shut::unsent:
      return "a request was put off: too many answers wait to be taken";
    case Shut::crowded:
      break;
  }
  return "a connection was closed to make room: all places are in use";
}

std::string eventsText(const Rules& rules, const std::vector<Listening>& sockets) {
  if (rules.token) return "Events need the token, as all else does.\n";
  if (!rules.events) return "Events are off; --events shows them.\n";
  const bool local = std::ranges::all_of(sockets, &Listening::isLocal);
  return std::string("Warning: all users of this machine") +
         (local ? "" : " and of others that reach it") +
         " can read the texts and message IDs of events. A token would prevent that.\n";
}

std::string aboutHistory(const Keeper& keeper, const Watcher& watcher, const Options& options) {
  const auto latest = watcher.latest();
  return keeper.describe(latest ? &latest->seen() : nullptr, options.interval);
}

void tellStart(const Options& options, const Rules& rules, const std::vector<Listening>& sockets,
               const Voice& voice, const std::string& history) {
  std::string lines;
  for (const Listening& socket : sockets) {
    lines += "Listening at " + text::printable(socket.shown(rules.tls)) + "\n";
  }
  lines +=
      fmt::format("A look every {} s. ", std::chrono::duration<double>(options.interval).count());
  voice.tell(lines + eventsText(rules, sockets) + history);
}

sigset_t blockedSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  return set;
}

// Comes back when one of the signals does.
void waitFor(const sigset_t& signals, Journal& journal) {
  constexpr timespec kMinute{60, 0};
  while (sigtimedwait(&signals, nullptr, &kMinute) < 0) journal.sumUp(Clock::now());
}

// A heap for each thread would keep what the largest look took, as often as there are threads; and
// large texts between small ones would keep a heap from shrinking.
void keepHeapsSmall() {
  constexpr int kLarge = 128 << 10;
  mallopt(M_ARENA_MAX, 2);
  mallopt(M_MMAP_THRESHOLD, kLarge);
}

// From here on signals wait.
sigset_t lockIn(const Voice& voice) {
  keepHeapsSmall();
  dropCapabilities();
  forbidCalls();
  if (!whyNotLocked().empty()) voice.log(whyNotLocked());
  return blockedSignals();
}

Watcher::Settings settingsOf(const Options& options) {
  return {.interval = options.interval,
          .version = layout::kVersion,
          .owners = options.scope.owners,
          .directory = options.directory,
          .flows = options.flows,
          .metrics = options.metrics};
}

Watcher::Eyes eyesOf(model::Follower& follower) {
  return {.all = [&follower] { return follower.lookAtAll(); },
          .events = [&follower] { return follower.lookAtEvents(); },
          .pause = [&follower] { return follower.eventPause(); }};
}

}  // namespace

void serve(const Options& options, const Voice& voice) {
  const std::vector<Listening> sockets = listeningFor(options);
  requireGuard(options, sockets);
  const Rules rules = rulesOf(options, sockets);
  const auto identity = identityOf(options);
  const sigset_t signals = lockIn(voice);

  Journal journal(voice.log);
  EventBook events(std::time(nullptr), {});
  model::Follower follower(options.directory, options.interval,
                           {.scope = options.scope, .machine = model::MachineFacts::read});
  Keeper keeper(options.history, voice.log);
  if (!keeper.refusal().empty()) voice.log(keeper.refusal() + ". No history is kept");
  Watcher watcher(settingsOf(options), eyesOf(follower),
                  {.news =
                       [&](const model::FollowLook& look) {
                         events.add(look);
                         keeper.take(look);
                       },
                   .each = [&keeper](const Seen& seen) { keeper.take(seen); }});
  watcher.waitForFirst();
  std::optional<WhatChanged> changes;
  if (keeper.recording() != nullptr) {
    changes.emplace(changesOfLastDay(keeper.recording()->path(), options.flows));
  }
  Answers answers(rules, watcher, events, keeper, changes ? &*changes : nullptr, journal);
  std::vector<int> listening;
  for (const Listening& socket : sockets) listening.push_back(socket.socket());
  HttpServer http(
      std::move(listening), {.identity = identity},
      [&answers](const Request& request) { return answers(request); },
      [&journal](HttpServer::Shut why) {
        const std::string line = shutText(why);
        if (!line.empty()) journal.note(line, "", Clock::now());
      });
  tellStart(options, rules, sockets, voice, aboutHistory(keeper, watcher, options));
  notify("READY=1\nSTATUS=Looking at shared memory and answering");
  waitFor(signals, journal);
  notify("STOPPING=1");
}

void record(const Options& options, const Voice& voice) {
  const sigset_t signals = lockIn(voice);
  Journal journal(voice.log);
  model::Follower follower(options.directory, options.interval,
                           {.scope = options.scope, .machine = model::MachineFacts::read});
  Keeper keeper(options.history, voice.log);
  if (!keeper.refusal().empty()) throw Trouble{Trouble::Kind::usage, keeper.refusal(), 0};
  Watcher watcher(settingsOf(options), eyesOf(follower),
                  {.news = [&keeper](const model::FollowLook& look) { keeper.take(look); },
                   .each = [&keeper](const Seen& seen) { keeper.take(seen); }});
  watcher.waitForFirst();
  voice.tell(aboutHistory(keeper, watcher, options));
  notify("READY=1\nSTATUS=Looking at shared memory and recording");
  waitFor(signals, journal);
  notify("STOPPING=1");
}

}  // namespace serve
