#include "service_fixture.h"

namespace servetest {
namespace {

using cimom::CimXmlHeaders;
using cimom::CimXmlReply;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string replaced(std::string text, const std::string& what, const std::string& with) {
  const std::size_t place = text.find(what);
  EXPECT_NE(place, std::string::npos) << what;
  return place == std::string::npos ? text : text.replace(place, what.size(), with);
}

class Messages : public ServiceTest {
 protected:
  void expectRefusal(const CimXmlHeaders& headers, const std::string& body, int status,
                     const std::string& cimError) {
    const CimXmlReply reply = service.answer(headers, body);
    EXPECT_EQ(reply.status, status) << body;
    EXPECT_EQ(reply.cimError, cimError) << body;
    EXPECT_FALSE(reply.text.empty());
    EXPECT_THAT(host.seen, IsEmpty());
  }

  const CimRequest request =
      CimRequest("EnumerateInstanceNames").className("ClassName", "Test_Thing");
};

TEST_F(Messages, AnAnswerRepeatsTheIdAndTheOperation) {
  host.paths = {thing("a")};
  const CimXmlReply reply = service.answer(
      request.headers(), replaced(request.body(), "ID=\"42\"", "ID=\"a&quot;&lt;&#10;b\""));
  EXPECT_THAT(reply.text, HasSubstr("ID=\"a&quot;&lt;&#10;b\""));
  EXPECT_THAT(reply.text, HasSubstr("PROTOCOLVERSION=\"1.0\""));
  EXPECT_THAT(ask(request).select("//IMETHODRESPONSE/@NAME"),
              ElementsAre("EnumerateInstanceNames"));
}

TEST_F(Messages, ElementsWithoutContentAreWrittenWithTwoTagsWhereContentIsAllowed) {
  EXPECT_THAT(ask(request).text(), HasSubstr("<IRETURNVALUE></IRETURNVALUE>"));
  const CimResponse counter = ask(CimRequest("GetClass")
                                      .className("ClassName", "Test_Counter")
                                      .flag("IncludeQualifiers", false));
  EXPECT_THAT(counter.text(), HasSubstr("TYPE=\"uint32\"></PROPERTY>"));
  EXPECT_THAT(ask(CimRequest("EnumerateClassNames")).text(),
              HasSubstr("<CLASSNAME NAME=\"Test_Link\"/>"));
  EXPECT_THAT(ask(CimRequest("DeleteClass")).text(), testing::ContainsRegex("<ERROR [^>]*/>"));
}

TEST_F(Messages, WhatIsNoXmlIsNotWellFormed) {
  const std::string body = request.body();
  const char* const cim = "<CIM CIMVERSION=\"2.0\"";
  for (const std::string& broken : std::vector<std::string>{
           "",
           "hello",
           "<CIM",
           body.substr(0, body.size() - 1),
           body + "<more/>",
           body + "text",
           replaced(body, "</SIMPLEREQ>", "</SIMPLEREP>"),
           replaced(body, "ID=\"42\"", "ID=42"),
           replaced(body, "ID=\"42\"", "ID=\"42\" ID=\"43\""),
           replaced(body, "ID=\"42\"", "ID=\"&nbsp;\""),
           replaced(body, "ID=\"42\"", "ID=\"&#0;\""),
           replaced(body, "ID=\"42\"", "ID=\"\x80\""),
           replaced(body, "utf-8", "utf-16"),
           replaced(body, cim, "<!DOCTYPE CIM [<!ENTITY a \"b\">]>" + std::string(cim)),
           replaced(body, cim, "<!DOCTYPE CIM []>" + std::string(cim)),
           replaced(body, cim, "<!DOCTYPE CIM [%a;]>" + std::string(cim)),
           replaced(body, cim, "<!DOCTYPE>" + std::string(cim)),
           replaced(body, cim, "<!DOCTYPECIM>" + std::string(cim)),
           replaced(body, cim, "<!DOCTYPE CIM SYSTEM>" + std::string(cim)),
           replaced(body, cim, "<!DOCTYPE CIM x.dtd>" + std::string(cim)),
           replaced(body, cim, "<!DOCTYPE CIM><!DOCTYPE CIM>" + std::string(cim)),
           replaced(body, cim, "<!DOCTYPE CIM><?xml version=\"1.0\"?>" + std::string(cim)),
           replaced(replaced(body, cim, "<!DOCTYPE CIM SYSTEM \"x.dtd\">" + std::string(cim)),
                    "ID=\"42\"", "ID=\"&nbsp;\""),
           replaced(body, "<?xml version", "<?xmlversion"),
           replaced(body, "<?xml version=\"1.0\"", "<?xml"),
           replaced(body, "</SIMPLEREQ>", "<![CDATA[</SIMPLEREQ>")}) {
    expectRefusal(request.headers(), broken, 400, "request-not-well-formed");
  }
}

TEST_F(Messages, WhatDoesNotBeginAsXmlDoesIsNotWellFormed) {
  const std::string body = request.body();
  const char* const cim = "<CIM CIMVERSION=\"2.0\"";
  const std::string mark = "\xef\xbb\xbf";
  for (const std::string& broken : std::vector<std::string>{
           replaced(body, "version=\"1.0\"", "version=\"2.0\""),
           replaced(body, "version=\"1.0\"", "version=\"1.\""),
           replaced(body, "version=\"1.0\"", "version=\"1.0a\""),
           replaced(body, "version=\"1.0\"", "version=\"one\""),
           replaced(body, "?>", " standalone=\"maybe\"?>"), "<!-- first -->" + body,
           mark + mark + body, " " + mark + body, replaced(body, cim, mark + cim),
           replaced(body, cim, "<!DOCTYPE CIM>" + mark + cim)}) {
    expectRefusal(request.headers(), broken, 400, "request-not-well-formed");
  }
}

TEST_F(Messages, NestingHasALimit) {
  const auto nested = [](int depth) {
    std::string starts;
    std::string ends;
    for (int i = 0; i < depth; ++i) {
      starts += "<A>";
      ends += "</A>";
    }
    return starts + ends;
  };
  expectRefusal(request.headers(), nested(64), 400, "request-not-loosely-valid");
  expectRefusal(request.headers(), nested(65), 400, "request-not-well-formed");
  expectRefusal(request.headers(), nested(100000), 400, "request-not-well-formed");
}

TEST_F(Messages, CommentsInstructionsAndSectionsAreRead) {
  host.paths = {thing("a")};
  std::string body = replaced(request.body(), "?>", "?>\n<!DOCTYPE CIM SYSTEM \"x.dtd\">\n");
  body = replaced(body, "<SIMPLEREQ>", "<!-- one <of> these --><?php 1?><SIMPLEREQ>");
  EXPECT_EQ(service.answer(request.headers(), body).status, 200);
  EXPECT_EQ(service.answer(request.headers(), "\xef\xbb\xbf" + body).status, 200);
  EXPECT_EQ(service.answer(request.headers(), replaced(body, "x.dtd", "x>[y].dtd")).status, 200);
  EXPECT_EQ(service.answer(request.headers(), replaced(body, "=\"1.0\"", "='1.1'")).status, 200);
  const CimRequest role = CimRequest("ReferenceNames")
                              .xml("ObjectName", instanceName("Test_Thing", {{"Id", "a"}}))
                              .xml("Role", "<VALUE>L<![CDATA[e<&]]>&#x66;t</VALUE>");
  EXPECT_EQ(ask(role).errorCode(), 0);
  EXPECT_THAT(host.seen.back(), HasSubstr("//Le<&ft/"));
}

TEST_F(Messages, WhatIsNoRequestIsNotValid) {
  const std::string body = request.body();
  for (const std::string& wrong : std::vector<std::string>{
           "<a/>", "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"/>",
           replaced(body, " CIMVERSION=\"2.0\"", ""), replaced(body, " DTDVERSION=\"2.0\"", ""),
           replaced(body, " ID=\"42\"", ""), replaced(body, " PROTOCOLVERSION=\"1.0\"", ""),
           replaced(replaced(body, "<SIMPLEREQ>", "<SIMPLERSP>"), "</SIMPLEREQ>", "</SIMPLERSP>"),
           replaced(replaced(body, "<IMETHODCALL", "<CALL"), "</IMETHODCALL>", "</CALL>"),
           replaced(body, "<LOCALNAMESPACEPATH>", "<LOCALNAMESPACEPATH/><LOCALNAMESPACEPATH>"),
           replaced(body, "<IMETHODCALL NAME=\"EnumerateInstanceNames\"", "<IMETHODCALL")}) {
    expectRefusal(request.headers(), wrong, 400, "request-not-loosely-valid");
  }
}

TEST_F(Messages, OtherVersionsAreNotSpoken) {
  const std::string body = request.body();
  expectRefusal(request.headers(), replaced(body, "CIMVERSION=\"2.0\"", "CIMVERSION=\"3.0\""), 501,
                "unsupported-cim-version");
  expectRefusal(request.headers(), replaced(body, "DTDVERSION=\"2.0\"", "DTDVERSION=\"1.0\""), 501,
                "unsupported-dtd-version");
  expectRefusal(request.headers(),
                replaced(body, "PROTOCOLVERSION=\"1.0\"", "PROTOCOLVERSION=\"2.0\""), 501,
                "unsupported-protocol-version");
  CimXmlHeaders headers = request.headers();
  headers.protocolVersion = "2.0";
  expectRefusal(headers, body, 501, "unsupported-protocol-version");
  headers = request.headers();
  headers.protocolVersion.reset();
  EXPECT_EQ(
      service
          .answer(headers, replaced(replaced(body, "CIMVERSION=\"2.0\"", "CIMVERSION=\"2.8\""),
                                    "DTDVERSION=\"2.0\"", "DTDVERSION=\"2.4\""))
          .status,
      200);
}

TEST_F(Messages, HeadersMustSayWhatTheMessageSays) {
  const std::string body = request.body();
  const auto with = [this](auto change) {
    CimXmlHeaders headers = request.headers();
    change(headers);
    return headers;
  };
  expectRefusal(with([](CimXmlHeaders& h) { h.method = "GetClass"; }), body, 400,
                "header-mismatch");
  expectRefusal(with([](CimXmlHeaders& h) { h.method.reset(); }), body, 400, "header-mismatch");
  expectRefusal(with([](CimXmlHeaders& h) { h.object = "root"; }), body, 400, "header-mismatch");
  expectRefusal(with([](CimXmlHeaders& h) { h.object.reset(); }), body, 400, "header-mismatch");
  expectRefusal(with([](CimXmlHeaders& h) { h.protocolVersion = "1.1"; }), body, 400,
                "header-mismatch");
  expectRefusal(with([](CimXmlHeaders& h) { h.operation.reset(); }), body, 400, "");
  expectRefusal(with([](CimXmlHeaders& h) { h.operation = "MethodResponse"; }), body, 400,
                "unsupported-operation");
}

TEST_F(Messages, HeadersMayBeEncoded) {
  CimXmlHeaders headers = request.headers();
  headers.object = "root%2Fcimv2";
  headers.method = "Enumerate%49nstanceNames";
  EXPECT_EQ(service.answer(headers, request.body()).status, 200);
  host.seen.clear();
  // An escape that is none is taken as it is.
  headers.object = "root%2Fcimv2%";
  expectRefusal(headers, request.body(), 400, "header-mismatch");
}

TEST_F(Messages, SeveralRequestsInOneAreNotTaken) {
  CimXmlHeaders headers = request.headers();
  headers.batch = "CIMBatch";
  expectRefusal(headers, request.body(), 501, "multiple-requests-unsupported");
  std::string body = replaced(request.body(), "<SIMPLEREQ>", "<MULTIREQ><SIMPLEREQ>");
  body = replaced(body, "</SIMPLEREQ>", "</SIMPLEREQ></MULTIREQ>");
  expectRefusal(request.headers(), body, 501, "multiple-requests-unsupported");
}

TEST_F(Messages, MethodsOfClassesAreNotSupported) {
  const std::string place =
      "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
      "</LOCALNAMESPACEPATH>";
  const std::string targets[] = {
      "<LOCALCLASSPATH>" + place + "<CLASSNAME NAME=\"Test_Thing\"/></LOCALCLASSPATH>",
      "<LOCALINSTANCEPATH>" + place + instanceName("Test_Thing", {{"Id", "a"}}) +
          "</LOCALINSTANCEPATH>"};
  for (const std::string& target : targets) {
    const std::string body =
        "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"42\" PROTOCOLVERSION=\"1.0\">"
        "<SIMPLEREQ><METHODCALL NAME=\"Reset\">" +
        target + "</METHODCALL></SIMPLEREQ></MESSAGE></CIM>";
    CimXmlHeaders headers{"MethodCall", "1.0", "Reset", "root/cimv2:Test_Thing.Id=\"a:b\"",
                          std::nullopt};
    const CimXmlReply reply = service.answer(headers, body);
    ASSERT_EQ(reply.status, 200) << reply.text;
    const CimResponse answer(reply.text);
    EXPECT_EQ(answer.errorCode(), 7);
    EXPECT_THAT(answer.select("//METHODRESPONSE/@NAME"), ElementsAre("Reset"));
    headers.object = "root/cimv2:Test_Counter";
    expectRefusal(headers, body, 400, "header-mismatch");
  }
}

}  // namespace
}  // namespace servetest
