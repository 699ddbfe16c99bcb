#pragma once

#include <broker/broker.h>
#include <broker/request_scope.h>
#include <cmpi/cmpi.h>
#include <gtest/gtest.h>

namespace zelInt {

/// An object manager that holds the records of providers made in the test.
class RecordTest : public testing::Test {
 protected:
  template <class Record>
  CMPIrc cleanUp(Record* record) {
    return record->ft->cleanup(record, context, 0).rc;
  }
  CMPIrc request(CMPIInstanceMI* record) {
    return record->ft->getInstance(record, context, nullptr, nullptr, nullptr).rc;
  }
  CMPIrc request(CMPIAssociationMI* record) {
    return record->ft->referenceNames(record, context, nullptr, nullptr, nullptr, nullptr).rc;
  }

  cimom::ClassRepository repository = cimom::ClassRepository::parse("class Thing { };");
  cimom::Broker inner{repository, nullptr};
  cimom::RequestScope scope;
  CMPIContext* context = scope.newContext("root/cimv2", 0);
};

}  // namespace zelInt
