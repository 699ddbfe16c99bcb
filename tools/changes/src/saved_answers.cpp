#include <changes/saved_answers.h>

#include <changes/value_json.h>
#include <model/short_text.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <set>
#include <utility>

namespace pcicim {
namespace {

constexpr const char* kFormat = "format";
constexpr const char* kFormatName = "pcicim-answers";
constexpr const char* kVersion = "version";
constexpr std::uint64_t kVersionNumber = 1;
constexpr const char* kClasses = "classes";
constexpr const char* kClass = "class";
constexpr const char* kPath = "path";
constexpr const char* kProperties = "properties";

/// The members that say whose answers they are, and where each goes.
struct FactMember {
  const char* name;
  std::string HostFacts::*text;
};

constexpr FactMember kFacts[]{{"program", &HostFacts::program},
                              {"host", &HostFacts::name},
                              {"time", &HostFacts::time},
                              {"source", &HostFacts::source},
                              {"namespace", &HostFacts::nameSpace}};

/// Hands the text out byte by byte, counts lines, and ends where a bound is passed.
class TextSource {
 public:
  TextSource(std::streambuf& text, std::string name, const SavedAnswersLimits& limits)
      : text_(text), name_(std::move(name)), limits_(limits) {}

  /// The byte that next() went to; nothing at the end.
  bool hasByte() const { return hasByte_; }
  char byte() const { return byte_; }

  void next() {
    const auto read = text_.sbumpc();
    hasByte_ = !Traits::eq_int_type(read, Traits::eof());
    if (!hasByte_) {
      return;
    }
    line_ += byte_ == '\n' ? 1 : 0;
    byte_ = Traits::to_char_type(read);
    if (++size_ > limits_.size) {
      fail("it is larger than " + std::to_string(limits_.size) + " bytes");
    }
    if (++partSize_ > limits_.part) {
      fail("a name or value is longer than " + std::to_string(limits_.part) + " bytes");
    }
  }

  void startPart() { partSize_ = 0; }

  [[noreturn]] void fail(const std::string& reason) const {
    throw SavedAnswersError(name_, line_, reason);
  }

 private:
  using Traits = std::streambuf::traits_type;

  std::streambuf& text_;
  std::string name_;
  const SavedAnswersLimits& limits_;
  char byte_ = 0;
  bool hasByte_ = false;
  std::size_t line_ = 1;
  std::size_t size_ = 0;
  std::size_t partSize_ = 0;
};

/// The source as the JSON reader takes it.
class ByteIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = char;

  ByteIterator() = default;
  explicit ByteIterator(TextSource& source) : source_(&source) { source.next(); }

  char operator*() const { return source_->byte(); }
  ByteIterator& operator++() {
    source_->next();
    return *this;
  }
  bool operator==(const ByteIterator& other) const { return isAtEnd() == other.isAtEnd(); }

 private:
  bool isAtEnd() const { return source_ == nullptr || !source_->hasByte(); }

  TextSource* source_ = nullptr;
};

/// Puts one instance together from the events of the JSON reader.
class InstanceBuilder {
 public:
  InstanceBuilder(TextSource& source, const SavedAnswersLimits& limits)
      : source_(source), limits_(limits) {}

  bool isOpen() const { return !open_.empty(); }
  const Json& result() const { return result_; }

  void begin(Json container) {
    constexpr std::size_t kDepth = 16;
    if (!isOpen()) {
      result_ = std::move(container);
      open_.push_back(&result_);
      values_ = 0;
      return;
    }
    if (open_.size() >= kDepth) {
      source_.fail("an instance has values in more than " + std::to_string(kDepth) + " levels");
    }
    open_.push_back(&add(std::move(container)));
  }

  Json& add(Json value) {
    if (++values_ > limits_.valuesOfAnInstance) {
      source_.fail("an instance has more than " + std::to_string(limits_.valuesOfAnInstance) +
                   " values");
    }
    Json& container = *open_.back();
    if (container.is_array()) {
      container.push_back(std::move(value));
      return container.back();
    }
    return container[key_] = std::move(value);
  }

  void key(std::string name) {
    if (open_.back()->contains(name)) {
      source_.fail("\"" + name + "\" stands twice in one object");
    }
    key_ = std::move(name);
  }

  /// True when that was the end of the instance.
  bool end() {
    open_.pop_back();
    return open_.empty();
  }

 private:
  TextSource& source_;
  const SavedAnswersLimits& limits_;
  Json result_;
  /// What has begun and not ended. Only the last of them grows, so all stay where they are.
  std::vector<Json*> open_;
  std::string key_;
  std::size_t values_ = 0;
};

/// What stands behind the reader's own name of the error and of the place.
std::string reasonOf(std::string_view text) {
  constexpr std::string_view kColumn = "column ";
  const std::size_t place = text.find(kColumn);
  const std::size_t colon = place == std::string_view::npos ? place : text.find(": ", place);
  return cimom::shortText(colon == std::string_view::npos ? text : text.substr(colon + 2));
}

class Reader {
 public:
  Reader(TextSource& source, const SavedAnswersLimits& limits, AnswersSink& sink)
      : source_(source), limits_(limits), sink_(sink), builder_(source, limits) {}

  // What the JSON reader calls.
  // NOLINTBEGIN(readability-identifier-naming)
  bool null() { return scalar(nullptr); }
  bool boolean(bool value) { return scalar(value); }
  bool number_integer(std::int64_t value) { return scalar(value); }
  bool number_unsigned(std::uint64_t value) { return scalar(value); }
  bool number_float(double value, const std::string& /*text*/) { return scalar(value); }
  bool string(std::string& value) { return scalar(std::move(value)); }
  bool binary(Json::binary_t& /*value*/) { return false; }
  bool start_object(std::size_t /*size*/) { return start(Json::object()); }
  bool start_array(std::size_t /*size*/) { return start(Json::array()); }
  bool key(std::string& name) { return takeKey(std::move(name)); }
  bool end_object() { return end(); }
  bool end_array() { return end(); }
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const Json::exception& error) {
    source_.fail("no JSON: " + reasonOf(error.what()));
  }
  // NOLINTEND(readability-identifier-naming)

  void checkComplete() {
    if (!hasFacts_) {
      failFormat();
    }
    for (const std::string& name : elementClasses()) {
      if (seen_.count(name) == 0) {
        source_.fail("the answers of " + name + " are missing");
      }
    }
  }

 private:
  struct Container {
    bool isArray;
    std::string key;
  };

  [[noreturn]] void failFormat() const {
    source_.fail(
        "not what `pcicim save` writes: \"format\" and \"version\" have to say "
        "\"pcicim-answers\" and 1 before the answers");
  }

  /// The elements of these are instances.
  bool isInList() const {
    if (containers_.size() == 2) {
      return containers_[0].key == kUnlisted && containers_[1].isArray;
    }
    return containers_.size() == 3 && containers_[0].key == kClasses && containers_[2].isArray &&
           !containers_[1].isArray;
  }

  const std::string& listName() const { return containers_[containers_.size() - 2].key; }

  bool scalar(Json value) {
    source_.startPart();
    if (builder_.isOpen()) {
      builder_.add(std::move(value));
    } else if (isInList()) {
      source_.fail("an instance is an object");
    } else if (containers_.empty()) {
      failFormat();
    } else if (containers_.size() == 1) {
      takeFact(containers_[0].key, value);
    }
    return true;
  }

  bool takeKey(std::string name) {
    source_.startPart();
    if (builder_.isOpen()) {
      builder_.key(std::move(name));
    } else {
      containers_.back().key = std::move(name);
    }
    return true;
  }

  bool start(Json container) {
    source_.startPart();
    if (builder_.isOpen() || (isInList() && isWanted_)) {
      if (!builder_.isOpen() && !container.is_object()) {
        source_.fail("an instance is an object");
      }
      builder_.begin(std::move(container));
      return true;
    }
    constexpr std::size_t kDepth = 64;
    if (containers_.size() >= kDepth) {
      source_.fail("more than " + std::to_string(kDepth) + " levels");
    }
    if (containers_.empty() && !container.is_object()) {
      failFormat();
    }
    containers_.push_back({container.is_array(), ""});
    if (isInList()) {
      beginList();
    }
    return true;
  }

  bool end() {
    source_.startPart();
    if (!builder_.isOpen()) {
      containers_.pop_back();
    } else if (builder_.end()) {
      giveInstance();
    }
    return true;
  }

  void takeFact(const std::string& name, const Json& value) {
    if (name == kFormat) {
      isFormatRight_ = value == kFormatName;
    } else if (name == kVersion) {
      isVersionRight_ = value == kVersionNumber;
    }
    for (const FactMember& member : kFacts) {
      if (name == member.name && value.is_string()) {
        facts_.*member.text = value.get<std::string>();
      }
    }
  }

  void beginList() {
    if (!isFormatRight_ || !isVersionRight_) {
      failFormat();
    }
    if (!hasFacts_) {
      hasFacts_ = true;
      sink_.host(facts_);
    }
    if (!seen_.insert(listName()).second) {
      source_.fail("the answers of " + listName() + " stand there twice");
    }
    instances_ = 0;
    isWanted_ = sink_.wants(listName());
    if (isWanted_) {
      sink_.beginClass(listName());
    }
  }

  void giveInstance() {
    if (++instances_ > limits_.instancesOfAClass) {
      source_.fail("more than " + std::to_string(limits_.instancesOfAClass) + " instances of " +
                   listName());
    }
    cimom::Instance instance;
    try {
      instance = toInstance(builder_.result());
    } catch (const std::runtime_error& error) {
      source_.fail(error.what());
    }
    sink_.instance(instance);
  }

  cimom::Instance toInstance(const Json& json) const {
    cimom::Instance instance;
    instance.path.nameSpace = facts_.nameSpace;
    instance.path.className = listName();
    for (const auto& [name, value] : json.items()) {
      if (name == kClass && value.is_string()) {
        instance.path.className = value.get<std::string>();
      } else if (name == kPath && value.is_object()) {
        addTo(instance.path.keys, value);
      } else if (name == kProperties && value.is_object()) {
        addTo(instance.properties, value);
      } else {
        throw std::runtime_error("an instance has no \"" + name + "\" of this kind");
      }
    }
    for (const cimom::NamedValue& key : instance.path.keys) {
      if (instance.findProperty(key.name) == nullptr) {
        instance.properties.push_back(key);
      }
    }
    return instance;
  }

  static void addTo(std::vector<cimom::NamedValue>& values, const Json& json) {
    for (const auto& [name, value] : json.items()) {
      values.push_back({name, toValue(value)});
    }
  }

  TextSource& source_;
  const SavedAnswersLimits& limits_;
  AnswersSink& sink_;
  InstanceBuilder builder_;
  std::vector<Container> containers_;
  HostFacts facts_;
  bool isFormatRight_ = false;
  bool isVersionRight_ = false;
  bool hasFacts_ = false;
  bool isWanted_ = false;
  std::size_t instances_ = 0;
  std::set<std::string, std::less<>> seen_;
};

/// True when the path says the same under that name.
bool isInPath(const cimom::ObjectPath& path, const cimom::NamedValue& property) {
  const cimom::Value* key = path.findKey(property.name);
  return key != nullptr && toJson(*key) == toJson(property.value);
}

Json instanceJson(const cimom::Instance& instance, const std::string& listName) {
  Json object = Json::object();
  if (instance.path.className != listName) {
    object[kClass] = instance.path.className;
  }
  Json keys = Json::object();
  addValues(keys, instance.path.keys);
  object[kPath] = std::move(keys);
  Json properties = Json::object();
  for (const cimom::NamedValue& property : instance.properties) {
    if (!isInPath(instance.path, property)) {
      properties[property.name] = toJson(property.value);
    }
  }
  if (!properties.empty()) {
    object[kProperties] = std::move(properties);
  }
  return object;
}

}  // namespace

SavedAnswersError::SavedAnswersError(const std::string& name, std::size_t line,
                                     const std::string& reason)
    : std::runtime_error(name + ", line " + std::to_string(line) + ": " + reason) {}

void SavedAnswersWriter::host(const HostFacts& facts) {
  out_ << "{\"" << kFormat << "\":\"" << kFormatName << "\",\"" << kVersion
       << "\":" << kVersionNumber;
  for (const FactMember& member : kFacts) {
    out_ << ",\n\"" << member.name << "\":" << onOneLine(facts.*member.text);
  }
}

void SavedAnswersWriter::beginClass(const std::string& className) {
  endList();
  if (className == kUnlisted) {
    endClasses();
    out_ << ",\n";
  } else {
    out_ << (isInClasses_ ? ",\n" : std::string(",\n\"") + kClasses + "\":{\n");
    isInClasses_ = true;
  }
  out_ << onOneLine(className) << ":[";
  className_ = className;
  isInList_ = true;
  isFirst_ = true;
}

void SavedAnswersWriter::instance(const cimom::Instance& instance) {
  out_ << (isFirst_ ? "\n" : ",\n") << onOneLine(instanceJson(instance, className_));
  isFirst_ = false;
}

void SavedAnswersWriter::finish() {
  endList();
  endClasses();
  out_ << "\n}\n";
}

void SavedAnswersWriter::endList() {
  if (isInList_) {
    out_ << ']';
  }
  isInList_ = false;
}

void SavedAnswersWriter::endClasses() {
  if (isInClasses_) {
    out_ << '}';
  }
  isInClasses_ = false;
}

SavedAnswers::SavedAnswers(std::streambuf& text, std::string name, const SavedAnswersLimits& limits)
    : text_(text), name_(std::move(name)), limits_(limits) {}

void SavedAnswers::giveTo(AnswersSink& sink) {
  TextSource source(text_, name_, limits_);
  Reader reader(source, limits_, sink);
  if (!Json::sax_parse(ByteIterator(source), ByteIterator(), &reader)) {
    source.fail("this is no JSON");
  }
  reader.checkComplete();
}

}  // namespace pcicim
