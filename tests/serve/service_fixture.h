#pragma once

#include <cim_xml/cim_xml_service.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mof/class_repository.h>

#include <string>
#include <vector>

#include "cim_request.h"
#include "scripted_upcalls.h"
#include "test_classes.h"

namespace servetest {

/// The service over the test classes and an object manager that answers as the test says.
class ServiceTest : public testing::Test {
 protected:
  CimResponse ask(const CimRequest& request) const {
    const cimom::CimXmlReply reply = service.answer(request.headers(), request.body());
    EXPECT_EQ(reply.status, 200) << reply.text;
    return CimResponse(reply.text);
  }

  static cimom::ObjectPath thing(const std::string& id,
                                 const std::string& className = "Test_Thing") {
    return {"", "root/cimv2", className, {{"Id", cimom::Value::text(id)}}};
  }

  cimom::ClassRepository repository = cimom::ClassRepository::parse(kTestClasses);
  test_support::ScriptedUpcalls host;
  cimom::CimXmlService service{repository, host, {"root/cimv2", "made.example"}};
};

}  // namespace servetest
