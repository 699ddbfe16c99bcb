#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace pcicim {

enum class Command {
  kClasses,
  kCount,
  kEnumerate,
  kGet,
  kPicture,
  kAssociators,
  kAssociatorNames,
  kReferences,
  kReferenceNames,
  kSave,
  kDiff,
  kServe,
  kTree,
};

enum class Format { kText, kMof, kJson, kJsonLines };

/// Which servers are asked in place of this host, and how.
struct RemoteOptions {
  /// Checked: each can be read. Empty: this host.
  std::vector<std::string> urls;
  /// Empty: PCICIM_PASSWORD or the terminal.
  std::string passwordFile;
  /// Empty: the authorities that the system trusts.
  std::string caFile;
  bool insecure = false;
  /// Seconds without progress.
  std::optional<int> timeout;
};

/// Whether text for people is coloured; `kAuto`: on a terminal, unless the environment says no.
enum class Colours { kAuto, kAlways, kNever };

enum class PictureFormat { kSvg, kPng, kPdf };

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
  /// A fresh process takes over at SIGHUP.
  bool isReloadable = false;

  /// Not from the command line: sockets that listen already, instead of the address and port.
  std::vector<int> sockets{};
  /// Not from the command line: called as soon as clients are answered.
  std::function<void()> isReady = [] {};
};

/// The command line, checked as far as words alone can be.
struct Options {
  Command command = Command::kClasses;
  Format format = Format::kText;
  Colours colours = Colours::kAuto;

  /// A file, or "-" for standard input. Empty: the live host, or what the environment says.
  std::string inventory;
  /// Empty: the kernel's name of the host.
  std::string hostName;
  /// Empty: the two that belong to the project, where they are beside the program.
  std::vector<std::string> providers;
  /// Empty: the one that belongs to the project.
  std::string schema;
  /// Also the providers' tracing goes to standard error.
  bool verbose = false;

  /// A class name, an object path or the name of a file, as the command needs.
  std::string target;
  /// Of `diff`, the second side; `target` is the first.
  std::string secondTarget;
  /// `save` leaves out the associations.
  bool withoutAssociations = false;
  bool namesOnly = false;
  /// Empty: all properties.
  std::vector<std::string> properties;
  /// Checked; empty: all functions.
  std::string address;
  std::string ids;
  std::string assocClass;
  std::string resultClass;
  std::string role;
  std::string resultRole;

  /// Nothing: what the file's name says.
  std::optional<PictureFormat> pictureFormat;

  RemoteOptions remote;
  ServeOptions serve;
};

/// What reading the command line came to.
struct Parsed {
  Options options;
  /// When set, there is nothing to run: the program prints the two texts and ends with this code.
  bool done = false;
  int exitCode = 0;
  /// For standard output: help, or the version.
  std::string answer;
  /// For standard error, each element a line: what is wrong with the command line.
  std::vector<std::string> complaints;
};

/// Reads the command line and the file that its --config names. Prints nothing.
Parsed parseCommandLine(int count, const char* const* words);

}  // namespace pcicim
