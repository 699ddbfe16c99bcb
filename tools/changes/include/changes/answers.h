#pragma once

#include <model/value.h>

#include <string>
#include <string_view>
#include <vector>

namespace pcicim {

/// Whose answers they are, and when and how they were asked for.
struct HostFacts {
  std::string name;
  /// In UTC, as 2026-01-31T12:00:00Z.
  std::string time;
  /// The program that asked, with its version.
  std::string program;
  /// What was asked: a saved inventory, this host.
  std::string source;
  std::string nameSpace;
};

/// The name that instances are handed over under when no enumeration has them.
inline constexpr std::string_view kUnlisted = "unlisted";

/// The classes whose instances describe functions, ports and groups, in the order of answers.
const std::vector<std::string>& elementClasses();

/// Takes the answers of a host, one after the other. Not for several threads at once.
class AnswersSink {
 public:
  virtual ~AnswersSink() = default;

  /// Comes first, once.
  virtual void host(const HostFacts& facts) = 0;
  /// False when the instances of that class (or kUnlisted) need not be handed over.
  virtual bool wants(std::string_view className) const = 0;
  /// The instances of that class (or kUnlisted) follow; each comes once at most.
  virtual void beginClass(const std::string& className) = 0;
  /// One instance with its path; all its keys are among its properties.
  virtual void instance(const cimom::Instance& instance) = 0;
};

/// All answers of one host, wherever they come from.
class Answers {
 public:
  virtual ~Answers() = default;

  /// Hands everything over, once. Throws what the origin throws when it fails; what the sink was
  /// given before is then only a part.
  virtual void giveTo(AnswersSink& sink) = 0;
};

}  // namespace pcicim
