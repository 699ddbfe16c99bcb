#pragma once

#include <changes/answers.h>

#include <cstddef>
#include <iosfwd>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

namespace pcicim {

/// Text that is no saved answers: what() says where and why.
class SavedAnswersError : public std::runtime_error {
 public:
  SavedAnswersError(const std::string& name, std::size_t line, const std::string& reason);
};

/// Writes answers as one JSON object, instance by instance as they come, each on a line of its own:
///
///     {"format": "pcicim-answers", "version": 1, "program": ..., "host": ..., "time": ...,
///      "source": ..., "namespace": ...,
///      "classes": {CLASS: [INSTANCE, ...], ...}, "unlisted": [INSTANCE, ...]}
///
/// An INSTANCE is {"class": ..., "path": {KEY: VALUE, ...}, "properties": {NAME: VALUE, ...}}; the
/// class stands there where it is not that of the list, and of the properties those that the path
/// has with the same value are left out. finish() after the last one. For one thread; the stream
/// outlives the writer.
class SavedAnswersWriter : public AnswersSink {
 public:
  explicit SavedAnswersWriter(std::ostream& out) : out_(out) {}

  void host(const HostFacts& facts) override;
  bool wants(std::string_view /*className*/) const override { return true; }
  void beginClass(const std::string& className) override;
  void instance(const cimom::Instance& instance) override;
  void finish();

 private:
  void endList();
  void endClasses();

  std::ostream& out_;
  std::string className_;
  bool isInClasses_ = false;
  bool isInList_ = false;
  bool isFirst_ = true;
};

/// What a text of saved answers may hold at most; more is an error.
struct SavedAnswersLimits {
  /// In bytes.
  std::size_t size = std::size_t{4} << 30U;
  /// Of one name, one value, or blanks between them, in bytes.
  std::size_t part = std::size_t{1} << 20U;
  std::size_t instancesOfAClass = std::size_t{1} << 20U;
  std::size_t valuesOfAnInstance = 4096;
};

/// Answers out of text that SavedAnswersWriter wrote, read as a stream. Members that it does not
/// know are skipped.
class SavedAnswers : public Answers {
 public:
  /// `name` is what errors call the text. The buffer has to outlive the answers.
  SavedAnswers(std::streambuf& text, std::string name, const SavedAnswersLimits& limits = {});

  /// Throws SavedAnswersError, also when the lists of functions, ports or groups are missing, and
  /// what the buffer throws.
  void giveTo(AnswersSink& sink) override;

 private:
  std::streambuf& text_;
  std::string name_;
  SavedAnswersLimits limits_;
};

}  // namespace pcicim
