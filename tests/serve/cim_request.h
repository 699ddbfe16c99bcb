#pragma once

#include <cim_xml/cim_xml_service.h>

#include <pugixml.hpp>
#include <string>
#include <vector>

namespace servetest {

/// A request message, put together by hand so that nothing of the server's own is in it.
class CimRequest {
 public:
  explicit CimRequest(std::string operation);

  CimRequest& nameSpace(std::string name);
  CimRequest& className(const std::string& parameter, const std::string& name);
  CimRequest& text(const std::string& parameter, const std::string& value);
  CimRequest& flag(const std::string& parameter, bool value);
  CimRequest& names(const std::string& parameter, const std::vector<std::string>& values);
  /// The parameter with any element as its value.
  CimRequest& xml(const std::string& parameter, const std::string& element);

  std::string body() const;
  /// The headers that announce it.
  cimom::CimXmlHeaders headers() const;

 private:
  std::string operation_;
  std::string nameSpace_ = "root/cimv2";
  std::string parameters_;
};

/// Text with the characters that XML keeps for itself written as references.
std::string escaped(const std::string& text);

/// `INSTANCENAME` with keys of text.
std::string instanceName(const std::string& className,
                         const std::vector<std::pair<std::string, std::string>>& keys);

/// A response message.
class CimResponse {
 public:
  /// Throws std::runtime_error unless the text is XML and a response.
  explicit CimResponse(const std::string& text);

  /// The code of its error; 0 where there is none.
  int errorCode() const;
  std::string errorText() const;
  /// The element below IRETURNVALUE, or null.
  pugi::xml_node value() const;
  /// What the XPath expression selects, as text: attribute values, or elements' whole text.
  std::vector<std::string> select(const std::string& expression) const;
  const std::string& text() const { return text_; }

 private:
  std::string text_;
  pugi::xml_document document_;
};

}  // namespace servetest
