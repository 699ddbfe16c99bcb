#pragma once

#include <changes/answers.h>
#include <model/operations.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace pcicim {

/// A function by the class that it can be fetched as, and its DeviceID.
struct FunctionName {
  std::string className;
  std::string deviceId;
};

/// The answers of a host that is asked through CIM operations.
class OperationAnswers : public Answers {
 public:
  /// Finds the functions that may be in no enumeration; those that are in one are left out.
  using FindFunctions = std::function<std::vector<FunctionName>()>;

  /// The classes are asked in that order. The operations have to outlive the answers.
  OperationAnswers(cimom::Operations& operations, HostFacts facts, std::vector<std::string> classes,
                   FindFunctions findFunctions)
      : operations_(operations),
        facts_(std::move(facts)),
        classes_(std::move(classes)),
        findFunctions_(std::move(findFunctions)) {}

  /// Throws CimError when a listing fails.
  void giveTo(AnswersSink& sink) override;

 private:
  cimom::Operations& operations_;
  HostFacts facts_;
  std::vector<std::string> classes_;
  FindFunctions findFunctions_;
};

}  // namespace pcicim
