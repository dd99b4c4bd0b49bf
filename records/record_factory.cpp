// SPDX-License-Identifier: Apache-2.0
#include "records/record_factory.h"

#include <new>

#include "records/broker_record.h"
#include "records/event_information.h"
#include "records/execution_group_record.h"
#include "records/message_flow_record.h"
#include "records/node_record.h"
#include "records/statistics_record.h"

namespace {

ZEB_Record* blank(std::uint32_t type) {
  switch (type) {
    case ZEB_REIR_RECORD:
      return new (std::nothrow) ZEB_REIR(ZEB_REIR_RECORD, nullptr);
    case ZEB_BRIR_RECORD:
      return new (std::nothrow) ZEB_BRIR(nullptr);
    case ZEB_EGIR_RECORD:
      return new (std::nothrow) ZEB_EGIR(nullptr);
    case ZEB_MFIR_RECORD:
      return new (std::nothrow) ZEB_MFIR(nullptr);
    case ZEB_NOIR_RECORD:
      return new (std::nothrow) ZEB_NOIR(nullptr);
    case ZEB_STIR_RECORD:
      return new (std::nothrow) ZEB_STIR(0);
    case ZEB_EVTR_RECORD:
      return new (std::nothrow) ZEB_EVTR(nullptr, nullptr, nullptr, ZEB_OTHER_NODE, nullptr);
    case ZEB_EVDR_RECORD:
      return new (std::nothrow) ZEB_EVDR(nullptr, 0);
    case ZEB_EVIR_RECORD:
      return new (std::nothrow) ZEB_EVIR(nullptr, nullptr);
    default:
      return nullptr;
  }
}

}  // namespace

std::unique_ptr<ZEB_Record> ZEB_MakeBlankRecord(std::uint32_t type) {
  return std::unique_ptr<ZEB_Record>(blank(type));
}
