#include <model/cim_error.h>
#include <model/names.h>
#include <mof/mof_error.h>
#include <mof/value_meanings.h>
#include <openssl/evp.h>
#include <page/topology_pages.h>
#include <picture/markup.h>
#include <picture/picture.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "html_page.h"
#include "object_url.h"

namespace pcicim {
namespace {

constexpr std::string_view kClassPath = "/class/";
constexpr std::string_view kObjectPath = "/object/";
constexpr std::size_t kRows = 100;
/// Objects that an object's page shows for each association.
constexpr std::size_t kMostAssociated = 200;
/// Functions of a machine whose picture a browser still shows with ease.
constexpr std::size_t kMostDrawn = 4096;

constexpr const char* kHtml = "text/html; charset=utf-8";
constexpr const char* kSvg = "image/svg+xml";
constexpr const char* kPagePolicy =
    "default-src 'none'; style-src 'self'; img-src 'self'; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'";
constexpr const char* kNothingPolicy = "default-src 'none'; frame-ancestors 'none'";

/// A reply that is not the page that was asked for.
struct Refused {
  int status;
  std::string title;
  std::string reason;
};

/// The picture's one style sheet is inside of it: its digest lets it in and nothing else.
std::string picturePolicy() {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  const std::string& style = svgStyle();
  if (EVP_Digest(style.data(), style.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
    throw std::bad_alloc();
  }
  std::array<unsigned char, std::size_t{2} * EVP_MAX_MD_SIZE> text{};
  const int size = EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(length));
  const std::string encoded(text.begin(), text.begin() + size);
  return "default-src 'none'; style-src 'sha256-" + encoded + "'; frame-ancestors 'none'";
}

cimom::ObjectPath classPath(const std::string& className) {
  cimom::ObjectPath path;
  path.className = className;
  return path;
}

std::string classUrl(const std::string& className, std::size_t from = 1) {
  std::string url(kClassPath);
  url += percentEncoded(className);
  return from == 1 ? url : url + "?from=" + std::to_string(from);
}

/// Keys that are the same in all objects of a host.
bool isCommonKey(std::string_view name) {
  return cimom::sameName(name, "SystemCreationClassName") || cimom::sameName(name, "SystemName") ||
         cimom::sameName(name, "CreationClassName");
}

/// What people call the object: the keys in which it differs from others, else its whole name.
std::string nameOf(const cimom::ObjectPath& path) {
  std::string name;
  for (const auto& [key, value] : path.keys) {
    if (isCommonKey(key) || value.type == cimom::CimType::kReference || value.elements.empty()) {
      continue;
    }
    name += (name.empty() ? "" : ", ") + cimom::toText(value.elements.front());
  }
  return name.empty() ? cimom::toText(path) : name;
}

/// The part of a description that a table has room for.
std::string firstSentence(std::string_view text) {
  const std::size_t end = text.find(". ");
  return std::string(text.substr(0, end == std::string_view::npos ? text.size() : end + 1));
}

std::string descriptionOf(const cimom::ClassDeclaration& declaration) {
  const auto* text = cimom::findQualifier(declaration.qualifiers, "Description");
  return text == nullptr ? "" : firstSentence(text->text());
}

/// A table in a region that scrolls sideways by itself.
std::string table(const std::string& caption, const std::string& head, const std::string& rows) {
  const std::string label = markupText(caption);
  return "<div class=\"wide\" role=\"region\" aria-label=\"" + label +
         "\" tabindex=\"0\">\n<table>\n<caption>" + label + "</caption>\n<thead><tr>" + head +
         "</tr></thead>\n<tbody>\n" + rows + "</tbody>\n</table>\n</div>\n";
}

std::string columnHead(std::string_view text) {
  return "<th scope=\"col\">" + markupText(text) + "</th>";
}

std::string rowHead(const std::string& html) {
  return "<th scope=\"row\">" + html + "</th>";
}

/// A part of a class, and how many there are in all.
struct ClassPart {
  std::vector<cimom::Instance> instances;
  std::size_t from = 1;
  std::size_t count = 0;
};

}  // namespace

class TopologyPages::Implementation {
 public:
  Implementation(const cimom::ClassRepository& repository, cimom::Operations& operations,
                 PageSettings settings)
      : repository_(repository), operations_(operations), settings_(std::move(settings)) {}

  PageReply answer(std::string_view target) {
    const std::size_t mark = std::min(target.find('?'), target.size());
    const std::string_view path = target.substr(0, mark);
    const std::string_view query = target.substr(std::min(mark + 1, target.size()));
    try {
      return reply(path, query);
    } catch (const Refused& refused) {
      return page(refused.status, refused.title, refused.reason);
    } catch (const UrlError& error) {
      return page(400, "No such address", error.what());
    } catch (const cimom::CimError& error) {
      return page(statusOf(error.code()), "No answer", error.what());
    } catch (const cimom::MofError& error) {
      return page(500, "No answer", error.what());
    }
  }

 private:
  static int statusOf(CMPIrc code) {
    if (code == CMPI_RC_ERR_NOT_FOUND || code == CMPI_RC_ERR_INVALID_CLASS) return 404;
    return code == CMPI_RC_ERR_INVALID_PARAMETER ? 400 : 500;
  }

  PageReply page(int status, const std::string& title, const std::string& reason) const {
    return {status, kHtml, kPagePolicy,
            HtmlPage{settings_.hostName, title, "<p>" + markupText(reason) + "</p>\n"}.text()};
  }

  PageReply reply(std::string_view path, std::string_view query) {
    if (path.starts_with(kClassPath)) {
      return classPage(servedClass(path.substr(kClassPath.size())), query);
    }
    if (path.starts_with(kObjectPath)) {
      return objectPage(servedClass(path.substr(kObjectPath.size())), query);
    }
    if (!query.empty()) throw UrlError("There is no query for this page.");
    if (path == "/style.css") {
      return {200, "text/css; charset=utf-8", kNothingPolicy, std::string(styleSheet())};
    }
    if (path == "/icon.svg") return {200, kSvg, kNothingPolicy, std::string(icon())};
    if (path == "/picture.svg") return picturePage();
    return hostPage();
  }

  /// The class of that name, as it is declared.
  std::string servedClass(std::string_view encoded) const {
    const std::string name = percentDecoded(encoded);
    const auto* declaration = repository_.find(name);
    if (declaration == nullptr)
      throw Refused{404, "No such class", "There is no class " + name + '.'};
    return declaration->name;
  }

  // The host.

  PageReply hostPage() {
    std::string content = pictureSection();
    content += "<section aria-labelledby=\"classes\">\n<h2 id=\"classes\">Classes</h2>\n";
    std::string rows;
    for (const std::string& name : settings_.classes) rows += classRow(name);
    content +=
        table("How many objects each class has",
              columnHead("Class") + columnHead("Objects") + columnHead("One for each"), rows);
    content += "</section>\n";
    return {200, kHtml, kPagePolicy, HtmlPage{settings_.hostName, "", content}.text()};
  }

  std::string classRow(const std::string& name) {
    const auto* declaration = repository_.find(name);
    const std::string description = declaration != nullptr ? descriptionOf(*declaration) : "";
    return "<tr>" + rowHead(link(classUrl(name), name)) + "<td class=\"number\">" +
           markupText(countOf(name)) + "</td><td>" + markupText(description) + "</td></tr>\n";
  }

  /// One class that fails does not take the others along.
  std::string countOf(const std::string& name) {
    try {
      std::size_t count = 0;
      operations_.enumerateInstanceNames(classPath(name), [&count](auto&&) { ++count; });
      return std::to_string(count);
    } catch (const cimom::CimError& error) {
      return error.what();
    }
  }

  std::string pictureSection() {
    std::string html = "<section aria-labelledby=\"picture\">\n<h2 id=\"picture\">Picture</h2>\n";
    if (picture()) {
      html += "<p><a href=\"/picture.svg\"><img src=\"/picture.svg\" alt=\"The PCI topology of " +
              markupText(settings_.hostName) +
              ": boxes within boxes. The tables below say the same; the picture opens by itself, "
              "larger.\"/></a></p>\n";
    } else {
      html += "<p>There is no picture of this host here: " + markupText(noPicture()) + "</p>\n";
    }
    return html + "</section>\n";
  }

  PageReply picturePage() {
    const auto drawn = picture();
    if (!drawn) throw Refused{404, "No picture", noPicture()};
    return {200, kSvg, picturePolicy(), *drawn};
  }

  /// The picture, drawn once: a provider reads its host once, too. Null where there is none. Who
  /// comes while it is being drawn waits for it.
  std::shared_ptr<const std::string> picture() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isDrawn_) return picture_;
    try {
      Machine machine = settings_.readMachine();
      if (machine.functions.size() > kMostDrawn) {
        noPicture_ = "it has more than " + std::to_string(kMostDrawn) +
                     " functions; pcicim picture draws it into a file.";
      } else {
        std::string svg;
        draw(layOut(std::move(machine)),
             *svgCanvas([&svg](std::string_view part) { svg += part; }));
        picture_ = std::make_shared<const std::string>(std::move(svg));
      }
      isDrawn_ = true;
    } catch (const cimom::CimError& error) {
      // Not for good: the next one may have more luck.
      noPicture_ = error.what();
    }
    return picture_;
  }

  std::string noPicture() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return noPicture_;
  }

  // Classes.

  PageReply classPage(const std::string& name, std::string_view query) {
    const ClassPart part = partOf(name, firstOf(query));
    if (part.instances.empty() && part.from > 1) {
      throw Refused{404, "No such part", name + " has " + std::to_string(part.count) + " objects."};
    }
    std::string content;
    const auto* declaration = repository_.find(name);
    if (declaration != nullptr)
      content += "<p>" + markupText(descriptionOf(*declaration)) + "</p>\n";
    if (part.instances.empty()) {
      content += "<p>There are no objects of this class.</p>\n";
    } else {
      content += instanceTable(name, part) + otherParts(name, part);
    }
    return {200, kHtml, kPagePolicy, HtmlPage{settings_.hostName, name, content}.text()};
  }

  /// Which object of a class the page begins with, counted from 1.
  static std::size_t firstOf(std::string_view query) {
    const auto values = parseQuery(query);
    if (values.empty()) return 1;
    const auto& [name, text] = values.front();
    std::size_t from = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, from);
    if (values.size() != 1 || name != "from" || error != std::errc() || stop != end || from == 0) {
      throw UrlError("A class is shown from an object on, counted from 1: from=NUMBER.");
    }
    return from;
  }

  ClassPart partOf(const std::string& name, std::size_t from) {
    ClassPart part;
    part.from = from;
    operations_.enumerateInstances(classPath(name), std::nullopt, [&](cimom::Instance&& instance) {
      ++part.count;
      if (part.count >= from && part.instances.size() < kRows) {
        part.instances.push_back(std::move(instance));
      }
    });
    return part;
  }

  std::string instanceTable(const std::string& name, const ClassPart& part) {
    const std::vector<std::string> columns = columnsOf(part.instances);
    std::string head = columnHead("Object");
    for (const std::string& column : columns) head += columnHead(column);
    cimom::ValueMeanings meanings(repository_);
    std::string rows;
    for (const cimom::Instance& instance : part.instances) {
      rows += "<tr>" + rowHead(link(objectUrl(instance.path), nameOf(instance.path)));
      for (const std::string& column : columns) {
        const auto* value = instance.findProperty(column);
        rows += "<td>";
        if (value != nullptr)
          rows += valueHtml(instance.path.className, {column, *value}, meanings);
        rows += "</td>";
      }
      rows += "</tr>\n";
    }
    const std::size_t last = part.from + part.instances.size() - 1;
    return table(name + ", objects " + std::to_string(part.from) + " to " + std::to_string(last) +
                     " of " + std::to_string(part.count),
                 head, rows);
  }

  /// What any of them has a value of, without the keys that are in the first column or the same
  /// in all.
  static std::vector<std::string> columnsOf(const std::vector<cimom::Instance>& instances) {
    std::vector<std::string> columns;
    for (const cimom::Instance& instance : instances) {
      for (const auto& [name, value] : instance.properties) {
        const bool isShown = value.type == cimom::CimType::kReference ||
                             (!isCommonKey(name) && instance.path.findKey(name) == nullptr);
        if (!value.isNull && isShown && !cimom::holdsName(columns, name)) columns.push_back(name);
      }
    }
    return columns;
  }

  static std::string otherParts(const std::string& name, const ClassPart& part) {
    std::string links;
    if (part.from > 1) {
      const std::size_t before = part.from > kRows ? part.from - kRows : 1;
      links += link(classUrl(name, before), "The ones before") + ' ';
    }
    const std::size_t next = part.from + part.instances.size();
    if (next <= part.count) links += link(classUrl(name, next), "The ones behind");
    return links.empty()
               ? ""
               : "<nav aria-label=\"Other objects of the class\"><p>" + links + "</p></nav>\n";
  }

  /// References as links, other values as the command writes them, texts without their quotes.
  static std::string valueHtml(const std::string& className, const cimom::NamedValue& property,
                               cimom::ValueMeanings& meanings) {
    const cimom::Value& value = property.value;
    if (value.isNull) return "";
    if (!value.isArray && !value.elements.empty()) {
      const cimom::Scalar& scalar = value.elements.front();
      using PathPointer = std::shared_ptr<const cimom::ObjectPath>;
      if (const auto* path = std::get_if<PathPointer>(&scalar); path != nullptr && *path) {
        return link(objectUrl(**path), (*path)->className + ' ' + nameOf(**path));
      }
      const bool isWritten = std::holds_alternative<std::string>(scalar);
      if (isWritten && value.type == cimom::CimType::kString) {
        return markupText(std::get<std::string>(scalar));
      }
    }
    return markupText(meanings.explained(className, property));
  }

  // Objects.

  PageReply objectPage(const std::string& className, std::string_view query) {
    const cimom::ObjectPath asked = objectOf(className, query, repository_);
    const cimom::Instance instance = operations_.getInstance(asked, std::nullopt);
    cimom::ValueMeanings meanings(repository_);
    std::string rows;
    for (const cimom::NamedValue& property : instance.properties) {
      rows += "<tr>" + rowHead(markupText(property.name)) + "<td>" +
              valueHtml(instance.path.className, property, meanings) + "</td></tr>\n";
    }
    const std::string& shownClass = instance.path.className;
    const std::string title = nameOf(instance.path);
    std::string content =
        "<p>An object of the class " + link(classUrl(shownClass), shownClass) + "</p>\n" +
        table("Properties of " + title, columnHead("Property") + columnHead("Value"), rows);
    content += associatedObjects(instance.path);
    return {200, kHtml, kPagePolicy, HtmlPage{settings_.hostName, title, content}.text()};
  }

  std::string associatedObjects(const cimom::ObjectPath& path) {
    std::string html =
        "<section aria-labelledby=\"associated\">\n<h2 id=\"associated\">Associated objects</h2>\n";
    bool hasSome = false;
    for (const std::string& name : settings_.classes) {
      const auto* declaration = repository_.find(name);
      if (declaration == nullptr || !declaration->isAssociation) continue;
      const std::string through = associatedThrough(path, name);
      hasSome = hasSome || !through.empty();
      html += through;
    }
    if (!hasSome) html += "<p>There are none.</p>\n";
    return html + "</section>\n";
  }

  std::string associatedThrough(const cimom::ObjectPath& path, const std::string& association) {
    std::string items;
    std::size_t count = 0;
    try {
      operations_.associatorNames(path, {association, "", "", ""}, [&](cimom::ObjectPath&& other) {
        if (++count > kMostAssociated) return;
        items += "<li>" + link(objectUrl(other), other.className + ' ' + nameOf(other)) + "</li>\n";
      });
    } catch (const cimom::CimError& error) {
      return "<p>" + markupText(association + ": " + error.what()) + "</p>\n";
    }
    if (count == 0) return "";
    std::string html = "<h3>Through " + link(classUrl(association), association) + "</h3>\n<ul>\n" +
                       items + "</ul>\n";
    if (count > kMostAssociated) {
      html += "<p class=\"quiet\">And " + std::to_string(count - kMostAssociated) + " more.</p>\n";
    }
    return html;
  }

  const cimom::ClassRepository& repository_;
  cimom::Operations& operations_;
  PageSettings settings_;
  /// For the members below.
  std::mutex mutex_;
  bool isDrawn_ = false;
  std::shared_ptr<const std::string> picture_;
  /// Why there is none.
  std::string noPicture_;
};

TopologyPages::TopologyPages(const cimom::ClassRepository& repository,
                             cimom::Operations& operations, PageSettings settings)
    : implementation_(
          std::make_unique<Implementation>(repository, operations, std::move(settings))) {}

TopologyPages::~TopologyPages() = default;

bool TopologyPages::covers(std::string_view path) {
  return path == "/" || path == "/style.css" || path == "/icon.svg" || path == "/picture.svg" ||
         path.starts_with(kClassPath) || path.starts_with(kObjectPath);
}

PageReply TopologyPages::answer(std::string_view target) {
  return implementation_->answer(target);
}

}  // namespace pcicim
