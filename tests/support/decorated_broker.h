#pragma once

#include <cmpi/cmpi.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Watching and disturbing a broker from outside, through copies of its function tables.
namespace test_support {

/// What an object manager does with an instance's property filter.
enum class FilterManner {
  /// Only the names of the two lists stay, so keys go where the caller lists none.
  kDropUnlistedKeys,
  /// The keys stay in any case.
  kKeepKeys,
  /// The call returns OK and changes nothing.
  kIgnoreFilter
};

/// The manners of other object managers; each default is the wrapped broker's own.
struct Manners {
  /// True: the broker says that it is the project's own object manager.
  bool isEmbedded = false;
  /// False: newInstance returns an instance without properties.
  bool newInstanceCopiesKeys = true;
  /// False: a key that the path lacks is returned with OK and the state "not found".
  bool missingKeyIsAnError = true;
  /// Instances and paths that one result takes before it refuses more with FAILED.
  std::optional<unsigned> mostAnswersPerResult = std::nullopt;
  /// Dones that one result takes before it refuses more with FAILED; 0 refuses the first.
  std::optional<unsigned> mostDonesPerResult = std::nullopt;
  /// False: a result that took no answer refuses a done with FAILED.
  bool takesEmptyDone = true;
  FilterManner filter = FilterManner::kDropUnlistedKeys;
  /// False: the broker record has no such table.
  bool hasMemoryTable = true;
  bool hasOperatingSystemTable = true;
  /// False: the qualifier functions of object paths are null pointers.
  bool hasQualifierFunctions = true;
  /// True: all data whose value is a pointer (text, references, instances, arrays) has the state
  /// "null", though type and pointer are good.
  bool marksDataNull = false;
  /// True: elements of enumerations have their type and a null pointer.
  bool elementsAreMissing = false;
  /// Bytes that the text function of paths writes into. A path whose text does not fit ends the
  /// process.
  std::optional<std::size_t> pathTextBytes = std::nullopt;
};

/// One call through a decorated table.
struct Call {
  /// Kind and slot, such as "broker.newInstance", "instance.setProperty" or "result.returnDone".
  std::string function;
  /// The arguments behind the object, as text: names plain, text values quoted, numbers in decimal,
  /// paths and instances as path text, lists as [A, B], null pointers as "null". Status, context
  /// and result pointers are left out.
  std::string arguments;
  /// The object or broker record that was called.
  const void* object = nullptr;

  /// "function(arguments)".
  std::string text() const;
};

/// A broker whose every call is recorded and can be made to fail. Objects that it returns carry
/// decorated tables too, so calls on them are seen as well. The wrapped broker does the work.
///
/// Not recorded: the operating system table (its functions take no broker) and the two message
/// functions with variable arguments. It works with brokers that find an object's state through
/// its handle, and with one decoration at a time. Safe from any number of threads; set faults
/// before other threads start.
class DecoratedBroker {
 public:
  /// `inner` outlives this object, and this object outlives every request that used it.
  explicit DecoratedBroker(const CMPIBroker* inner, Manners manners = {});
  ~DecoratedBroker();
  DecoratedBroker(const DecoratedBroker&) = delete;
  DecoratedBroker& operator=(const DecoratedBroker&) = delete;

  /// The record to hand to a provider. Lives as long as this object.
  const CMPIBroker* record() const noexcept;

  /// Gives an object that came another way (the context, result and path of a request) the
  /// decorated table. A result counts its answers anew. Returns its argument; null stays null.
  CMPIContext* decorate(CMPIContext* object);
  CMPIResult* decorate(CMPIResult* object);
  CMPIString* decorate(CMPIString* object);
  CMPIArray* decorate(CMPIArray* object);
  CMPIEnumeration* decorate(CMPIEnumeration* object);
  CMPIInstance* decorate(CMPIInstance* object);
  CMPIObjectPath* decorate(CMPIObjectPath* object);

  /// Makes the k-th call (from 1, all functions counted since the last clear) return the code and
  /// the text in place of being carried out; a release is carried out all the same. The code OK
  /// makes it return nothing (a null object, zero) with success.
  void failCall(std::size_t k, CMPIrc code, std::string text = {});
  /// The same for the k-th call of one function; 0 means every call of it.
  void failCall(const std::string& function, std::size_t k, CMPIrc code, std::string text = {});
  /// Makes the k-th call of one function throw std::runtime_error with the text, as a broker in C++
  /// might; 0 means every call of it.
  void throwFromCall(const std::string& function, std::size_t k, std::string text);
  /// Forgets the faults.
  void failNothing();

  /// The calls so far, in their order.
  std::vector<Call> calls() const;
  /// The calls so far as texts.
  std::vector<std::string> callTexts() const;
  /// The texts of the calls of one function.
  std::vector<std::string> callTexts(const std::string& function) const;
  std::size_t count(const std::string& function) const;
  /// Forgets the calls; faults count from here.
  void clear();

  class State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace test_support
