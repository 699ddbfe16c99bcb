#include "answer_text.h"

#include <machine_requests.h>

#include <variant>

namespace manners {

using cimom::NamedValue;
using cimom::ObjectPath;
using cimom::Scalar;

namespace {

std::string fullText(const ObjectPath& path) {
  return path.host + "/" + cimom::toText(path);
}

/// Writes the parts of an answer, one path in place of another.
class AnswerWriter {
 public:
  AnswerWriter(const ObjectPath& replaced, const ObjectPath& replacement)
      : replaced_(fullText(replaced)), replacement_(fullText(replacement)) {}

  void line(const std::string& content) { text_ += content + "\n"; }

  void path(const ObjectPath& path) {
    line(path.host + "/" + path.nameSpace + ":" + path.className);
    values(path.keys);
  }

  void values(const std::vector<NamedValue>& all) {
    for (const NamedValue& value : all) line("  " + value.name + ":" + textOf(value.value));
  }

  const std::string& text() const { return text_; }

 private:
  std::string textOf(const cimom::Value& value) const {
    std::string text(cimom::typeName(value.type));
    if (value.isArray) text += "[]";
    if (value.isNull) return text + " null";
    for (const Scalar& element : value.elements) text += " " + textOf(element);
    return text;
  }

  std::string textOf(const Scalar& scalar) const {
    if (!std::holds_alternative<std::shared_ptr<const ObjectPath>>(scalar)) {
      return cimom::toText(scalar);
    }
    const std::string text = fullText(*std::get<std::shared_ptr<const ObjectPath>>(scalar));
    return text == replaced_ ? replacement_ : text;
  }

  std::string replaced_;
  std::string replacement_;
  std::string text_;
};

std::string kindOf(const std::string& event) {
  if (event == "done") return event;
  return event.front() == '[' ? "instance" : "path";
}

}  // namespace

std::string textOf(const Exchange& exchange, const ObjectPath& source) {
  const requests::Outcome& outcome = exchange.outcome;
  AnswerWriter writer(exchange.request.path, source);
  writer.line("status " + std::to_string(int{outcome.status}) +
              (outcome.message.empty() ? "" : " with a text"));
  for (const std::string& event : outcome.events) writer.line(kindOf(event));
  for (const cimom::Instance& instance : outcome.instances) {
    writer.path(instance.path);
    writer.line(" with");
    writer.values(instance.properties);
  }
  for (const ObjectPath& path : outcome.paths) writer.path(path);
  return writer.text();
}

std::string differences(const std::vector<Exchange>& expected,
                        const std::vector<Exchange>& actual) {
  std::string all;
  for (std::size_t index = 0; index < expected.size(); ++index) {
    const ObjectPath& source = expected[index].request.path;
    const std::string wanted = textOf(expected[index], source);
    const std::string found = textOf(actual.at(index), source);
    if (wanted == found) continue;
    all +=
        scripted::nameOf(expected[index].request) + "\nexpected:\n" + wanted + "found:\n" + found;
  }
  return all;
}

}  // namespace manners
