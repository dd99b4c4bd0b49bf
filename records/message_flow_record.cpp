// SPDX-License-Identifier: Apache-2.0
#include "records/message_flow_record.h"

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcreir";

}  // namespace

ZEB_MFIR::ZEB_MFIR(const ZEB_Resource_ID* id) : ZEB_REIR(ZEB_MFIR_RECORD, id) {
  ZEB_Trace trace(kUnit, "ZEB_MFIR::ZEB_MFIR");
}
