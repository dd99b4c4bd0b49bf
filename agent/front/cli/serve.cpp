// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/messages.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/rates.h"
#include "agent/front/cli/stop.h"
#include "agent/front/serve/gate.h"
#include "agent/front/serve/server.h"
#include "agent/front/serve/trouble.h"
#include "agent/reader/letters.h"
#include "flowfile/quantity.h"

namespace cli {
namespace {

using std::chrono::milliseconds;

void takeListen(serve::Address& address, const std::string& text) {
  const auto parsed = serve::parseAddress(text);
  if (!parsed) {
    refuse("--listen", "\"" + text +
                           "\" is no address like 127.0.0.1:9847, [::1]:9847 "
                           "or unix:/run/zebmon/socket");
  }
  address = *parsed;
}

void takeEvery(milliseconds& interval, const std::string& text) {
  const auto parsed = flowfile::parseDuration(text);
  if (!parsed || *parsed < milliseconds(100) || *parsed > std::chrono::hours(1)) {
    refuse("--interval", "\"" + text + "\" is no time from 100ms to 1h, like 2s");
  }
  interval = std::chrono::ceil<milliseconds>(*parsed);
}

void takeTotal(std::uint64_t& most, const std::string& text) {
  const auto bytes = flowfile::parseBytes(text);
  if (!bytes || *bytes <= 0) {
    refuse("--max-total", "\"" + text + "\" is no size like 256MiB");
  }
  most = static_cast<std::uint64_t>(*bytes);
}

// The parser takes brackets away, which a Host header has around an IPv6 address.
std::string asInHeaders(const std::string& name) {
  return std::ranges::count(name, ':') > 1 ? "[" + name + "]" : name;
}

void takeHost(std::vector<std::string>& hosts, const std::string& given) {
  const std::string name = asInHeaders(given);
  if (serve::hostOf(name) != reader::lowered(name)) {
    refuse("--host", "\"" + name + "\" is no name of a host without a port, like web1.example.net");
  }
  hosts.push_back(name);
}

void takeMode(mode_t& mode, const std::string& text) {
  const bool octal =
      !text.empty() && text.size() <= 4 && text.find_first_not_of("01234567") == text.npos;
  const auto value = octal ? std::stoul(text, nullptr, 8) : 01000;
  if (value > 0777 || (value & 0600) != 0600) {
    refuse("--socket-mode", "\"" + text + "\" is no mode from 0600 to 0777, like 0660");
  }
  mode = static_cast<mode_t>(value);
}

void declareScope(Options& options, model::Scope& scope) {
  addOwners(options, scope.owners);
  options.add("--max-brokers", scope.mostBrokers, "Look at no more than so many (default: 64)")
      .within(1, 10000)
      .shown("N");
  options
      .take(
          "--max-total", [&scope](const std::string& text) { takeTotal(scope.mostTotal, text); },
          "The most shared memory of all brokers in a\nlook (default: 256MiB)")
      .shown("BYTES");
}

void declareWho(Options& options, serve::Options& wanted) {
  options.add("--token-file", wanted.tokenFile, "Ask for the token in this file").shown("FILE");
  Option certificate =
      options.add("--tls-certificate", wanted.certificateFile, "Speak TLS; a PEM file")
          .shown("FILE");
  const Option key = options.add("--tls-key", wanted.keyFile, "The key of that certificate")
                         .shown("FILE")
                         .needs(certificate);
  certificate.needs(key);
  options.flag("--insecure", wanted.insecure,
               "Other machines may ask without token or TLS,\non purpose");
  options.flag("--events", wanted.events,
               "Show events without a token: all users of\nthis machine can read their texts");
}

}  // namespace

void declareServe(Options& options, Request& request) {
  serve::Options& wanted = request.serve;
  const auto add = [&options](const char* name, auto take, const char* text, const char* type) {
    options.take(name, take, text).shown(type);
  };
  add(
      "--listen", [&wanted](const std::string& text) { takeListen(wanted.listen, text); },
      "Where to answer (default: 127.0.0.1:9847);\nunix:PATH is a socket in a file", "ADDRESS");
  add(
      "--interval", [&wanted](const std::string& text) { takeEvery(wanted.interval, text); },
      "Time between two looks (default: 2s)", "T");
  options
      .takeEach(
          "--host", [&wanted](const std::string& name) { takeHost(wanted.hosts, name); },
          "A name by which clients call this machine;\nmay be given again")
      .shown("NAME");
  options
      .add("--flows", request.rates.flows,
           "Take which node is inside which, and the\nthreads, from this flow file")
      .shown("FILE");
  declareWho(options, wanted);
  add(
      "--socket-mode", [&wanted](const std::string& text) { takeMode(wanted.rights.mode, text); },
      "Who may use the socket of unix: (default: 0660)", "MODE");
  options.add("--socket-group", wanted.rights.group, "Whose group it is").shown("GROUP");
  declareScope(options, wanted.scope);
  options
      .add("--temp-directory", wanted.directory,
           "Where the brokers' key files are (default:\nas the library is configured here)")
      .shown("DIR");
}

ExitCode runServe(const Request& request, Output& output) {
  const FlowFile flows = readFlows(request.rates.flows);
  if (flows.code != kDone) return flows.code;
  serve::Options wanted = request.serve;
  if (flows.file) wanted.flows = std::make_shared<const flowfile::File>(*flows.file);
  try {
    serve::serve(wanted, {.tell = [&output](const std::string& lines) { output.write(lines); },
                          .log = complain});
  } catch (const serve::Trouble& trouble) {
    const bool usage = trouble.kind == serve::Trouble::Kind::usage;
    throw Stop{usage ? kUsage : exitCodeOf(trouble.error == 0 ? -1 : trouble.error),
               trouble.sentence};
  }
  return kDone;
}

}  // namespace cli
