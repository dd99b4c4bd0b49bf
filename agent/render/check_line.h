// SPDX-License-Identifier: Apache-2.0
// The one line that alerting systems read.
#ifndef ZEB_AGENT_RENDER_CHECK_LINE_H
#define ZEB_AGENT_RENDER_CHECK_LINE_H

#include <string>
#include <vector>

#include "agent/model/check.h"

namespace render {

// "OK", "WARNING", "CRITICAL" and "UNKNOWN".
const char* levelName(model::Level level);

// "CRITICAL: area of SHOP 93.1% (limit 90%) | 'area SHOP'=93.1%;80;90;0;100" and its newline: what
// is not ok, the worst first, and then a value for each reading that has one. Printable; labels
// can't end the text or a value. There must be a reading.
std::string checkLine(const std::vector<model::Reading>& readings);

}  // namespace render

#endif  // ZEB_AGENT_RENDER_CHECK_LINE_H
