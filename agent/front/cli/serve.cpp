// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "agent/front/cli/commands.h"
#include "agent/front/cli/options.h"
#include "agent/front/cli/rates.h"
#include "agent/front/cli/service.h"
#include "agent/front/serve/gate.h"
#include "agent/reader/letters.h"

namespace cli {
namespace {

void takeListen(serve::Address& address, const std::string& text) {
  const auto parsed = serve::parseAddress(text);
  if (!parsed) {
    refuse("--listen", "\"" + text +
                           "\" is no address like 127.0.0.1:9847, [::1]:9847 "
                           "or unix:/run/zebmon/socket");
  }
  address = *parsed;
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
  declareInterval(options, wanted.interval);
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
  declareHistory(options, wanted.history, true);
  declareSeries(options, wanted.metrics);
  declareScope(options, wanted.scope);
  declareDirectory(options, wanted.directory);
}

ExitCode runServe(const Request& request, Output& output) {
  const FlowFile flows = readFlows(request.rates.flows);
  if (flows.code != kDone) return flows.code;
  serve::Options wanted = request.serve;
  if (flows.file) wanted.flows = std::make_shared<const flowfile::File>(*flows.file);
  return runService(serve::serve, wanted, output);
}

}  // namespace cli
