// SPDX-License-Identifier: Apache-2.0
// What the doctor says, for people and for programs.
#ifndef ZEB_AGENT_RENDER_FINDINGS_SCREEN_H
#define ZEB_AGENT_RENDER_FINDINGS_SCREEN_H

#include <string>

#include "agent/model/findings.h"
#include "agent/render/json.h"
#include "agent/render/sheet.h"

namespace render {

// A block a finding, worst first, then what was not checked, then one line that sums it up; that
// line alone when nothing is wrong. Lines are as wide as the style says, else 80 columns; commands
// stay on one line, to be copied. Of a kind with many findings only the first are shown, and how
// many more there are is said: `more` with the kind behind it is the command that shows them. When
// it is empty, the findings are of chosen kinds, and all are shown.
std::string findingsScreen(const model::Findings& findings, const model::Snapshot& selected,
                           const TableStyle& style, const std::string& more);

// What would be done about one of them, or was: its key, then sentences about its object, then a
// command unless that is empty. Lines are as wide as above.
std::string repairText(const model::Finding& finding, const std::string& what,
                       const std::string& command, const TableStyle& style);

Json findingsDocument(const model::Findings& findings, const model::Snapshot& selected);

// "1 critical, 2 warnings".
std::string countOf(const model::Findings& findings);

// "critical" or "warning".
const char* severityName(model::Severity severity);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_FINDINGS_SCREEN_H
