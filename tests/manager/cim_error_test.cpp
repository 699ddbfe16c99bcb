// Codes of status as errors name them.
#include <gtest/gtest.h>
#include <model/cim_error.h>

#include <string>

namespace cimom {
namespace {

TEST(CimErrorTest, NamesTheCodesOfTheInterfaceAndThoseOfCimAlone) {
  EXPECT_EQ(statusName(CMPI_RC_OK), "CIM_ERR_SUCCESS");
  EXPECT_EQ(statusName(CMPI_RC_ERR_METHOD_NOT_FOUND), "CIM_ERR_METHOD_NOT_FOUND");
  EXPECT_EQ(statusName(static_cast<CMPIrc>(21)), "CIM_ERR_INVALID_ENUMERATION_CONTEXT");
  EXPECT_EQ(statusName(static_cast<CMPIrc>(28)), "CIM_ERR_SERVER_IS_SHUTTING_DOWN");
}

TEST(CimErrorTest, GivesTheNumberOfACodeThatCimLacks) {
  for (const int code : {18, 24, 29, 50}) {
    EXPECT_EQ(statusName(static_cast<CMPIrc>(code)),
              "CIM_ERR_FAILED (CMPI code " + std::to_string(code) + ")");
  }
}

}  // namespace
}  // namespace cimom
