#include "output.h"

#include <changes/value_json.h>
#include <model/names.h>
#include <model/visible_text.h>
#include <mof/mof_writer.h>
#include <mof/value_meanings.h>

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>

namespace pcicim {
namespace {

template <typename Items, typename ToJson>
void printJsonArray(const Items& items, std::ostream& out, const ToJson& toJson) {
  const char* separator = "\n";
  out << '[';
  for (const auto& item : items) {
    out << separator << onOneLine(toJson(item));
    separator = ",\n";
  }
  out << (items.empty() ? "]\n" : "\n]\n");
}

Json toJson(const cimom::Instance& instance) {
  Json object = Json::object();
  object["@class"] = instance.path.className;
  addValues(object, instance.properties);
  return object;
}

/// The object with the host's name in front.
Json ofHost(const std::string& host, const Json& object) {
  Json named{{"@host", host}};
  named.update(object);
  return named;
}

/// Numbers that everybody writes in hexadecimal digits.
bool isId(std::string_view property) {
  static const std::vector<std::string> kIds{"VendorID", "PCIDeviceID", "SubsystemID",
                                             "SubsystemVendorID", "RevisionID"};
  return cimom::holdsName(kIds, property);
}

/// " (0x8086)" for a number; empty for others.
std::string inHex(const cimom::Value& value) {
  const auto* number =
      value.elements.size() == 1 ? std::get_if<std::uint64_t>(&value.elements.front()) : nullptr;
  if (number == nullptr) {
    return "";
  }
  std::ostringstream text;
  text << " (0x" << std::hex << std::setfill('0')
       << std::setw(value.type == cimom::CimType::kUint8 ? 2 : 4) << *number << ')';
  return text.str();
}

std::string description(const cimom::ClassDeclaration& declaration) {
  const auto* text = cimom::findQualifier(declaration.qualifiers, "Description");
  return text == nullptr ? "" : std::string(text->text());
}

}  // namespace

/// Writes instances as text, with the meanings of their values.
class ListingPrinter::Meanings {
 public:
  Meanings(const cimom::ClassRepository& classes, bool isColoured)
      : meanings_(classes), isColoured_(isColoured) {}

  void printText(const cimom::Instance& instance, std::ostream& out) {
    std::size_t width = 0;
    for (const auto& [name, value] : instance.properties) {
      width = std::max(width, name.size());
    }
    text_.clear();
    append("\x1b[1m", instance.path.className);
    text_ += '\n';
    for (const cimom::NamedValue& property : instance.properties) {
      text_ += "  ";
      append("\x1b[36m", property.name);
      text_.append(width - property.name.size(), ' ');
      text_ += " = ";
      text_ += cimom::visibleText(meanings_.explained(instance.path.className, property));
      text_ += isId(property.name) ? inHex(property.value) : "";
      text_ += '\n';
    }
    out << text_;
  }

 private:
  void append(std::string_view manner, std::string_view name) {
    text_ += isColoured_ ? manner : "";
    text_ += cimom::visibleText(name);
    text_ += isColoured_ ? "\x1b[0m" : "";
  }

  cimom::ValueMeanings meanings_;
  bool isColoured_;
  std::string text_;
};

OutputFailure::OutputFailure() : std::runtime_error("the output cannot be written") {}

ListingPrinter::ListingPrinter(const cimom::ClassRepository& classes, Format format,
                               std::ostream& out, std::string host, bool isColoured)
    : format_(format),
      out_(out),
      host_(std::move(host)),
      meanings_(std::make_unique<Meanings>(classes, isColoured)) {}

ListingPrinter::~ListingPrinter() = default;

void ListingPrinter::startObject(const char* separator) {
  if (!out_) {
    throw OutputFailure();
  }
  if (format_ == Format::kJson) {
    out_ << (isEmpty_ ? "[\n" : ",\n");
  } else if (!isEmpty_ && format_ != Format::kJsonLines) {
    out_ << separator;
  }
  isEmpty_ = false;
}

void ListingPrinter::print(const cimom::Instance& instance) {
  startObject("\n");
  switch (format_) {
    case Format::kJson:
      out_ << onOneLine(toJson(instance));
      return;
    case Format::kJsonLines:
      out_ << onOneLine(ofHost(host_, toJson(instance))) << '\n';
      return;
    case Format::kMof:
      out_ << cimom::writeMof(cimom::toMof(instance));
      return;
    default:
      meanings_->printText(instance, out_);
  }
}

void ListingPrinter::print(const cimom::ObjectPath& path) {
  startObject("");
  if (format_ == Format::kJson) {
    out_ << onOneLine(toJson(path));
  } else if (format_ == Format::kJsonLines) {
    out_ << onOneLine(ofHost(host_, toJson(path))) << '\n';
  } else {
    out_ << cimom::visibleText(path) << '\n';
  }
}

void ListingPrinter::finish() {
  if (format_ == Format::kJson) {
    out_ << (isEmpty_ ? "[]\n" : "\n]\n");
  }
}

void printCounts(const std::vector<std::pair<std::string, std::size_t>>& counts, Format format,
                 std::ostream& out, const std::string& host) {
  if (format == Format::kJsonLines) {
    for (const auto& [name, count] : counts) {
      const Json object{{"@host", host}, {"class", name}, {"instances", count}};
      out << onOneLine(object) << '\n';
    }
    return;
  }
  if (format == Format::kJson) {
    Json object = Json::object();
    for (const auto& [name, count] : counts) {
      object[name] = count;
    }
    out << object.dump(2, ' ', true) << '\n';
    return;
  }
  for (const auto& [name, count] : counts) {
    out << std::setw(6) << count << "  " << name << '\n';
  }
}

void printClasses(const std::vector<std::string>& names, const cimom::ClassRepository& classes,
                  Format format, std::ostream& out) {
  std::vector<const cimom::ClassDeclaration*> declarations;
  for (const std::string& name : names) {
    if (const auto* declaration = classes.find(name)) {
      declarations.push_back(declaration);
    }
  }
  if (format == Format::kJson) {
    printJsonArray(declarations, out, [](const auto* declaration) {
      return Json{{"name", declaration->name},
                  {"superclass", declaration->superclass},
                  {"description", description(*declaration)}};
    });
    return;
  }
  for (const auto* declaration : declarations) {
    out << declaration->name << " : " << declaration->superclass << "\n  "
        << description(*declaration) << '\n';
  }
}

}  // namespace pcicim
