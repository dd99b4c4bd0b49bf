#include "records/record_set.h"

#include <new>

#include "base/trace.h"

namespace {

constexpr char kUnit[] = "zebcrcst";

}  // namespace

bool Record_Collection::insert(ZEB_Record* record) {
  try {
    records_.push_back(record);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void Record_Collection::clearAndDestroy() {
  for (const ZEB_Record* record : records_) delete record;
  records_.clear();
}

void Record_Collection::printAll(const Trace& trace) const {
  int position = 0;
  for (const ZEB_Record* record : records_) {
    trace.line("Record %d of %d", ++position, static_cast<int>(entries()));
    record->print();
  }
}

void ZEB_Record_Set::print() const {
  Trace trace(kUnit, "ZEB_Record_Set::print");
  printAll(trace);
}

void ZEB_Ordered_Record_Set::print() const {
  Trace trace(kUnit, "ZEB_Ordered_Record_Set::print");
  printAll(trace);
}
