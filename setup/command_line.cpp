// SPDX-License-Identifier: Apache-2.0
#include "setup/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>

#include "completion/answer.h"
#include "format/installed.h"
#include "format/version.h"
#include "setup/commands.h"
#include "text/printable.h"

namespace setup {
namespace {

constexpr char kFooter[] =
    "Exit codes:\n"
    "  0   done\n"
    "  1   of \"status\": a host would not load the plug-in\n"
    "  64  the command line is wrong\n"
    "  65  a file is not what it has to be\n"
    "  66  no such file or directory\n"
    "  69  there is no such group\n"
    "  74  reading or writing failed, or something else is in the place\n"
    "  77  no permission";

void addDirectory(CLI::App& command, Request& request, bool required) {
  command.add_option("--dir", request.directory, "The directory that the host loads plug-ins from")
      ->type_name("DIR")
      ->required(required);
  command
      .add_option("--library", request.library,
                  "The plug-in's file (" + layout::installedLibrary() + ")")
      ->type_name("FILE");
  command.footer(kFooter);
}

void declare(CLI::App& app, Request& request) {
  app.require_subcommand(1);
  app.footer(kFooter);
  app.set_version_flag("--version", std::string("zebpnode ") + layout::kVersion,
                       "Print version, commit and stored format");
  CLI::App& enabling = *app.add_subcommand("enable", "Let a host load the plug-in");
  addDirectory(enabling, request, true);
  enabling
      .add_option("--group", request.group,
                  "Make /run/zeb/ for this group, as a directory of key files")
      ->type_name("GROUP");
  addDirectory(*app.add_subcommand("disable", "Take away what \"enable\" linked"), request, true);
  CLI::App& asking = *app.add_subcommand("status", "Whether a host would load it, and with what");
  addDirectory(asking, request, false);
  asking
      .add_option_function<std::string>(
          "--format", [&request](const std::string& format) { request.json = format == "json"; },
          "For people, or for programs")
      ->check(CLI::IsMember({"table", "json"}).description(""))
      ->type_name("table|json");
}

// The parser quotes arguments as they are.
std::string inPrintableLines(const CLI::App* app, const CLI::Error& error) {
  std::string what = error.what();
  if (app->get_subcommands().empty()) {
    const auto words = app->remaining();
    what = words.empty() ? "a command is missing" : "\"" + words.front() + "\" is no command";
    what += ": there are enable, disable, status";
  }
  return "zebpnode: " + text::printable(what) + ".\nRun with --help for more information.\n";
}

ExitCode write(const std::string& text, ExitCode code) {
  if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return code;
  std::fputs("zebpnode: can't write to standard output.\n", stderr);
  return kFailed;
}

ExitCode answer(const CLI::App& app, const CLI::ParseError& error) {
  std::ostringstream answer;
  std::ostringstream complaint;
  const int code = app.exit(error, answer, complaint);
  std::fputs(complaint.str().c_str(), stderr);
  return write(answer.str(), code == 0 ? kDone : kUsage);
}

std::string printableLines(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line);) result += text::printable(line) + "\n";
  return result;
}

ExitCode run(const CLI::App& app, const Request& request) {
  ExitCode code = kDone;
  const std::string text = app.got_subcommand("enable")    ? enable(request)
                           : app.got_subcommand("disable") ? disable(request)
                                                           : status(request, code);
  return write(printableLines(text), code);
}

}  // namespace

ExitCode interpret(int argc, const char* const* argv) {
  CLI::App app("Lets a host load the monitoring nodes' plug-in, and tells whether it would.",
               "zebpnode");
  app.failure_message(inPrintableLines);
  Request request;
  request.library = layout::installedLibrary();
  declare(app, request);
  if (argc > 1 && std::string_view(argv[1]) == completion::kCommand) {
    return write(completion::answer(app, {argv + 2, argv + argc}, {}), kDone);
  }
  try {
    app.parse(argc, argv);
    request.library = std::filesystem::absolute(request.library).lexically_normal();
    return run(app, request);
  } catch (const CLI::ParseError& error) {
    return answer(app, error);
  } catch (const Stop& stop) {
    std::fputs(("zebpnode: " + text::printable(stop.sentence) + ".\n").c_str(), stderr);
    return stop.code;
  }
}

}  // namespace setup
