// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/page_document.h"

#include <cmath>

#include "agent/model/condition.h"
#include "agent/model/lock_view.h"
#include "agent/model/settings.h"
#include "agent/render/config_screens.h"
#include "agent/render/findings_screen.h"
#include "agent/render/lock_screens.h"
#include "agent/render/rates.h"
#include "agent/render/size_screens.h"

namespace serve {
namespace {

using render::Json;

// null before the second look.
Json flowsOf(const Seen& seen) {
  if (seen.looks.size() < 2) return nullptr;
  return render::flowDocument(viewOf(seen), {});
}

Json locksOf(const model::Snapshot& look) {
  std::vector<model::LockView> locks = model::locksOf(look, look, true);
  std::erase_if(locks, [](const model::LockView& lock) { return !lock.noteworthy(); });
  return render::locksDocument(look, locks);
}

Json settingsOf(const model::Snapshot& look) {
  return render::configDocument(
      {look, model::settingsOf(look.machine->configuration, model::labelsOf(look)),
       model::restartsOf(look)});
}

// To the millisecond.
double roundedSeconds(Clock::duration time) {
  return std::round(std::chrono::duration<double, std::milli>(time).count()) / 1000;
}

}  // namespace

Json pageDocument(const Seen& seen) {
  Json document = render::headOf("zebmon.page", 1, seen.now());
  document["brokers"] = render::brokersDocument(seen.now());
  document["flows"] = flowsOf(seen);
  document["findings"] = render::findingsDocument(seen.findings, seen.now());
  document["capacity"] = render::fillDocument(model::distinct(seen.now()));
  document["locks"] = locksOf(seen.now());
  document["settings"] = settingsOf(seen.now());
  return document;
}

std::string pageRest(const Seen& seen, const Beside& beside) {
  const Json rest = {{"ageSeconds", roundedSeconds(beside.now - seen.now().steady)},
                     {"paceSeconds", roundedSeconds(beside.health.pace)},
                     {"degraded", beside.health.degraded},
                     {"routes", beside.routes}};
  std::string text = render::written(rest, true);
  text.front() = ',';
  text.resize(text.size() - 2);  // the object goes on
  return text + ",\"events\":" + beside.events + "}\n";
}

}  // namespace serve
