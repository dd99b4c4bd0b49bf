// SPDX-License-Identifier: Apache-2.0
// What a run did: the tables at its end, and the same as JSON. All of it is printable, whatever
// labels and problems hold.
#ifndef ZEB_HOST_REPORT_SUMMARY_H
#define ZEB_HOST_REPORT_SUMMARY_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "flowfile/file.h"
#include "host/report/verify.h"
#include "host/run/drill_plan.h"
#include "host/run/tally.h"

namespace host {

// The host's own counts, flow by flow and node by node, and how often the nodes logged which
// message. `elapsed` is the time in which messages flowed.
std::string summaryText(const flowfile::File& file, const Tally& tally,
                        std::chrono::duration<double> elapsed);

// Each drill and what became of it; empty without drills. The results are in the file's order.
std::string drillsText(const flowfile::File& file, const std::vector<DrillResult>& drills);

// "host | shared memory | agrees", node by node, then the events, and what dead processes left
// behind. Without the former when shared memory couldn't be read: the verdict tells why.
std::string verificationText(const Verification& verification);

// The sentence that a verified run ends with.
std::string verdict(const Verification& verification, const Tally& tally);

// One JSON document with a newline: schema "zebhost.summary", version 1. Its member `verification`
// is null when none was asked for.
std::string summaryJson(const flowfile::File& file, const Tally& tally,
                        std::chrono::duration<double> elapsed,
                        const std::optional<Verification>& verification,
                        const std::vector<DrillResult>& drills = {});

}  // namespace host

#endif  // ZEB_HOST_REPORT_SUMMARY_H
