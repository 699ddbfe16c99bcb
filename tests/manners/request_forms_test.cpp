// The same request as other clients and object managers write it.
#include "manners_test.h"

#include <algorithm>
#include <cctype>

namespace manners {
namespace {

using cimom::ObjectPath;
using requests::Request;

/// Applies a change to the path and to every path in its keys.
template <class Change>
ObjectPath changed(ObjectPath path, const Change& change) {
  for (cimom::NamedValue& key : path.keys) {
    for (cimom::Scalar& element : key.value.elements) {
      if (const auto* inner = std::get_if<std::shared_ptr<const ObjectPath>>(&element)) {
        element = std::make_shared<const ObjectPath>(changed(**inner, change));
      }
    }
  }
  change(path);
  return path;
}

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

struct Form {
  const char* name;
  void (*apply)(ObjectPath& path);
};

void upperKeyNames(ObjectPath& path) {
  for (cimom::NamedValue& key : path.keys) key.name = upper(key.name);
}

void reverseKeys(ObjectPath& path) {
  std::reverse(path.keys.begin(), path.keys.end());
}

class RequestForms : public MannersTest, public testing::WithParamInterface<Form> {
 protected:
  static std::vector<Request> rewritten(std::vector<Request> all) {
    for (Request& request : all) request.path = changed(request.path, GetParam().apply);
    return all;
  }
};

TEST_P(RequestForms, AreAnsweredLikeThePlainOne) {
  EXPECT_EQ(differences(exchange(everyRequest()), exchange(rewritten(everyRequest()))), "");
}

INSTANTIATE_TEST_SUITE_P(
    With, RequestForms,
    testing::Values(Form{"AHost", [](ObjectPath& path) { path.host = "hosta01.example.org:5988"; }},
                    Form{"UpperCaseKeyNames", upperKeyNames},
                    Form{"UpperCaseNameSpace",
                         [](ObjectPath& path) { path.nameSpace = upper(path.nameSpace); }},
                    Form{"NoNameSpace", [](ObjectPath& path) { path.nameSpace.clear(); }},
                    Form{"UpperCaseClassNames",
                         [](ObjectPath& path) { path.className = upper(path.className); }},
                    Form{"KeysInAnotherOrder", reverseKeys},
                    Form{"AllOfIt",
                         [](ObjectPath& path) {
                           path.host = "10.0.0.1";
                           path.nameSpace = upper(path.nameSpace);
                           path.className = upper(path.className);
                           upperKeyNames(path);
                           reverseKeys(path);
                         }}),
    [](const auto& testInfo) { return testInfo.param.name; });

/// The answers name the objects as the provider does, never as the client wrote them.
TEST_F(MannersTest, NoAnswerCarriesTheRequestsHost) {
  Request request{requests::Operation::kGetInstance, "Zelmar_PCIPort", scripted::portPath("N-ep")};
  request.path.host = "elsewhere";
  const std::vector<Exchange> answered = exchange({request});
  ASSERT_EQ(answered.front().outcome.instances.size(), 1U);
  const ObjectPath& path = answered.front().outcome.instances.front().path;
  EXPECT_EQ(path.host, "");
  EXPECT_EQ(path.nameSpace, "root/cimv2");
}

}  // namespace
}  // namespace manners
