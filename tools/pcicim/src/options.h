#pragma once

#include <optional>
#include <string>
#include <vector>

namespace pcicim {

enum class Command {
  kClasses,
  kCount,
  kEnumerate,
  kGet,
  kAssociators,
  kAssociatorNames,
  kReferences,
  kReferenceNames,
  kServe,
  kTree,
};

enum class Format { kText, kMof, kJson };

/// How `serve` serves.
struct ServeOptions {
  /// Where it listens: a numeric address or a name of this host.
  std::string address = "127.0.0.1";
  /// Any free one for 0; not given: the standard's, which differs with TLS.
  std::optional<int> port;
  /// What clients may call this host beside its own names.
  std::vector<std::string> serverNames;
  /// Files in PEM, both or neither.
  std::string tlsCertificate;
  std::string tlsKey;
  /// Empty: nobody is asked for a password.
  std::string passwordFile;
  /// Listen also where others reach it, with neither TLS nor passwords.
  bool allowAnyone = false;
  /// Seconds for requests that are under way at a stop.
  int stopTime = 30;
};

/// The command line, checked as far as words alone can be.
struct Options {
  Command command = Command::kClasses;
  Format format = Format::kText;

  /// Empty: the live host, or what the environment says.
  std::string inventory;
  /// Empty: the kernel's name of the host.
  std::string hostName;
  /// Empty: the two that belong to the project, where they are beside the program.
  std::vector<std::string> providers;
  /// Empty: the one that belongs to the project.
  std::string schema;
  /// Also the providers' tracing goes to standard error.
  bool verbose = false;

  /// A class name or an object path, as the command needs.
  std::string target;
  bool namesOnly = false;
  /// Empty: all properties.
  std::vector<std::string> properties;
  std::string assocClass;
  std::string resultClass;
  std::string role;
  std::string resultRole;

  ServeOptions serve;
};

/// What reading the command line came to.
struct Parsed {
  Options options;
  /// When set, everything is said already and the program ends with this code.
  bool done = false;
  int exitCode = 0;
};

/// Reads the command line; prints help, the version or what is wrong with it itself.
Parsed parseCommandLine(int count, const char* const* words);

}  // namespace pcicim
