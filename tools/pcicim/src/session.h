#pragma once

#include <broker/object_manager.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "checked_operations.h"
#include "options.h"

namespace pcicim {

/// The kernel's name of this host. Throws std::system_error.
std::string nodeName();

/// A library of the project, beside the program: where it is built, or below the given directory of
/// an installation. Throws std::runtime_error that names the places when it is in none of them.
std::filesystem::path findInstalled(const std::string& name, const std::string& directory);

/// The object manager with schema and providers as the command line asks for them.
///
/// Sets up the process too: the environment by which the host is chosen, and the log, whose errors
/// and warnings (with --verbose everything) go to standard error as well. One per process.
class Session {
 public:
  /// Reads the schema. Throws MofError, or std::runtime_error when there is none.
  explicit Session(const Options& options);

  /// The object manager with its providers; loads them, and checks that the host or the saved
  /// inventory can be read, when first called. Throws CimError or std::runtime_error.
  cimom::ObjectManager& manager();

  /// The same for people: names are checked, and answers narrowed to what was asked for.
  cimom::Operations& operations();

  const cimom::ClassRepository& classes() const { return *repository_; }

  /// The saved inventory that is read in place of the host, and the name that is given to it, from
  /// the command line or the environment; empty where neither says anything.
  std::string inventory() const;
  std::string hostName() const;

  /// The object path that the text means: keys get the types that their class declares. Throws
  /// PathError, and CimError (INVALID_CLASS, INVALID_PARAMETER).
  cimom::ObjectPath path(std::string_view text) const;

 private:
  void loadProviders();
  void checkInput();
  void checkLiveHost();
  void checkSavedInventory();
  bool readStandardInput();
  [[noreturn]] void refuseInventory(std::string_view reason) const;
  bool readsStandardInput() const;
  /// As the user calls it.
  std::string inventoryName() const;
  void letProviderRead();

  Options options_;
  std::shared_ptr<const cimom::ClassRepository> repository_;
  std::unique_ptr<cimom::ObjectManager> manager_;
  std::unique_ptr<CheckedOperations> operations_;
};

}  // namespace pcicim
