// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/options.h"

namespace cli {

void addSelection(CLI::App& options, Request& request) {
  options.add_option("--broker", request.selection.broker,
                     "Only this broker, by its label or uuid");
  options
      .add_option("--temp-directory", request.directory,
                  "Where the brokers' key files are (default:\n"
                  "as the library is configured here)")
      ->type_name("DIR");
}

void addFormat(CLI::App& options, Request& request) {
  static const std::map<std::string, Format> kFormats = {{"table", Format::table},
                                                         {"json", Format::json}};
  addChoice(options, "--format", request.format, kFormats, "Columns, or JSON", "table|json");
}

}  // namespace cli
