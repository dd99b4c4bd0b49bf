// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include "agent/render/config_screens.h"
#include "agent/render/paragraph.h"
#include "agent/render/values.h"
#include "agent/render/words.h"
#include "text/printable.h"

namespace render {
namespace {

using text::printable;

std::string titleOf(const reader::Configuration& file, Zone zone) {
  if (!file.exists) {
    return "No configuration file can be opened: every key has its default.\n";
  }
  std::string head = fmt::format("Configuration {}, changed {}\n", printable(file.path),
                                 dateAndTime(file.modified, zone));
  if (file.error != 0) head += fmt::format("It can't be read: {}.\n", errorText(file.error));
  if (file.cut) head += "It is so long that only its beginning was read.\n";
  return head;
}

Sheet placesSheet(const reader::Configuration& file) {
  Sheet sheet{{{.name = "place", .title = "looked for", .yields = 20, .least = 20},
               {.name = "state", .title = "state", .yields = 10, .least = 20}},
              {}};
  for (std::size_t i = 0; i < file.places.size(); ++i) {
    const std::string& because = file.places[i].because;
    const std::string why = because.empty() ? "" : ", by the properties' line " + because;
    sheet.rows.push_back({{}, {file.places[i].path, placeState(file, i) + why}});
  }
  return sheet;
}

Sheet settingsSheet(const model::Settings& settings) {
  Sheet sheet{{{.name = "key", .title = "key", .yields = 5, .least = 20},
               {.name = "line", .title = "line", .right = true},
               {.name = "effective", .title = "in force", .yields = 10, .least = 12},
               {.name = "raw", .title = "as it is written", .yields = 20, .least = 16}},
              {}};
  for (const model::Setting& setting : settings.settings) {
    const bool set = setting.line != 0;
    sheet.rows.push_back({{},
                          {setting.key, set ? Cell(setting.line) : Cell(),
                           setting.isDefault ? setting.effective + " (default)" : setting.effective,
                           set ? Cell(setting.raw) : Cell()}});
  }
  return sheet;
}

// What is written and to be written stays on its line: it is to be copied.
std::string trapsText(const model::Settings& settings, std::optional<std::size_t> width) {
  std::string text;
  for (const model::Trap& trap : settings.traps) {
    text += inLines(trapText(trap) + ".", width) + fmt::format("  {}\n", printable(trap.raw));
    if (!trap.write.empty()) text += fmt::format("  write: {}\n", printable(trap.write));
  }
  return text;
}

}  // namespace

std::string configScreen(const ConfigView& view, const TableStyle& style) {
  const reader::Configuration& file = view.snapshot.machine->configuration;
  std::string text = titleOf(file, style.zone);
  text += "\n" + tableOf(placesSheet(file), style);
  text += "\n" + tableOf(settingsSheet(view.settings), style);
  if (!view.settings.traps.empty()) text += "\n" + trapsText(view.settings, style.width);
  if (!view.restarts.empty()) text += "\n";
  for (const model::Restart& restart : view.restarts) {
    text += inLines(restartText(restart) + ".", style.width);
  }
  return text;
}

Json configDocument(const ConfigView& view) {
  const reader::Configuration& file = view.snapshot.machine->configuration;
  Json document = headOf("zebmon.config", 1, view.snapshot);
  document["file"] = file.exists ? Json(file.path) : Json(nullptr);
  document["changed"] = file.exists ? Json(isoTime(file.modified)) : Json(nullptr);
  if (file.error != 0 && file.exists) document["problem"] = errorText(file.error);
  document["cut"] = file.cut;
  Json& places = document["places"] = Json::array();
  for (std::size_t i = 0; i < file.places.size(); ++i) {
    const std::string& because = file.places[i].because;
    places.push_back({{"path", file.places[i].path},
                      {"state", placeState(file, i)},
                      {"because", because.empty() ? Json(nullptr) : Json(because)}});
  }
  Json& settings = document["settings"] = Json::array();
  for (const model::Setting& setting : view.settings.settings) {
    const bool set = setting.line != 0;
    settings.push_back({{"key", setting.key},
                        {"line", set ? Json(setting.line) : Json(nullptr)},
                        {"raw", set ? Json(setting.raw) : Json(nullptr)},
                        {"value", set ? Json(setting.value) : Json(nullptr)},
                        {"effective", setting.effective},
                        {"default", setting.isDefault}});
  }
  Json& traps = document["traps"] = Json::array();
  for (const model::Trap& trap : view.settings.traps) {
    traps.push_back({{"kind", trapName(trap.kind)},
                     {"key", trap.key},
                     {"line", trap.line},
                     {"raw", trap.raw},
                     {"problem", trapText(trap)},
                     {"write", trap.write.empty() ? Json(nullptr) : Json(trap.write)}});
  }
  Json& restarts = document["restarts"] = Json::array();
  for (const model::Restart& restart : view.restarts) {
    const bool size = restart.why == model::Restart::Why::otherSize;
    restarts.push_back({{"broker", brokerObject(restart.broker.get())},
                        {"kind", size ? "otherSize" : "fileIsYounger"},
                        {"executionGroup", size ? Json(nullptr) : Json(restart.group)},
                        {"processId", size ? Json(nullptr) : Json(restart.process)},
                        {"problem", restartText(restart)}});
  }
  return document;
}

}  // namespace render
