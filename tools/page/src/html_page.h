#pragma once

#include <string>
#include <string_view>

namespace pcicim {

/// A whole page: head, a header with the way to it, main and footer around the content, which is
/// HTML already. Titles are text. Well-formed XML, too. Safe from any thread.
struct HtmlPage {
  std::string hostName;
  /// Of this page below the host; empty for the host's own.
  std::string title;
  std::string content;

  std::string text() const;
};

/// `<a href="URL">TEXT</a>`, or the text alone where there is no URL.
std::string link(std::string_view url, std::string_view text);

/// The style sheet and the icon of all pages.
std::string_view styleSheet();
std::string_view icon();

}  // namespace pcicim
