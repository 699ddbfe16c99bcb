#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <source_location>
#include <string>
#include <vector>

#include "shell.h"

namespace shipping {

/// The installed script in a world of its own: the search path holds the stand-ins that the test
/// installs, and the few commands of the system that the script and the stand-ins use.
class Register : public testing::Test {
 protected:
  Register();

  // --- Managers

  /// An OpenPegasus with the standard schema in root/cimv2 and its own classes in root/PG_InterOp
  /// and root/interop, that looks for libraries where they are installed.
  void installOpenPegasus(const std::vector<std::string>& commands = {"cimmof", "cimprovider",
                                                                      "cimcli", "cimconfig"});
  /// The file of a class in one of its namespaces.
  std::filesystem::path classFile(const std::string& nameSpace, const std::string& name) const;

  /// An sfcb with the standard schema and another product's class Other_Thing. Its commands know
  /// their directories in the form given, `localStateDirectory` being seen from `sfcbPrefix()`.
  void installSfcb(const std::string& localStateDirectory = "var", bool isWrittenOut = true);
  std::filesystem::path sfcbPrefix() const { return state() / "sfcb"; }
  std::filesystem::path staging() const { return stateOfSfcb() / "stage"; }
  std::filesystem::path registration() const { return stateOfSfcb() / "registration"; }
  std::filesystem::path sfcbSchema() const { return sfcbPrefix() / "share/sfcb/CIM"; }
  /// Runs a command of that sfcb as another user would.
  Outcome runSfcb(const std::string& command) const;
  /// Writes a configuration of sfcb that has these directories of providers.
  std::filesystem::path sfcbConfigFor(const std::string& directories) const;

  // --- Running

  Outcome run(const std::string& options) const { return shell(commandLine(options)); }
  /// Standard output and standard error together.
  Outcome runWithErrors(const std::string& options) const {
    return shell(commandLine(options) + " 2>&1");
  }
  /// Expects that the command fails with 1 and says each of the texts.
  void expectFailure(const std::string& options, const std::vector<std::string>& texts,
                     std::source_location place = std::source_location::current()) const;
  /// The script of the installation, with MOF and registration files that are the test's own.
  std::string commandLine(const std::string& options) const;
  /// Runs commands that a document shows, on the test's own MOF and registration files.
  Outcome runByHand(std::string commands) const;
  /// Any command with the world of the test around it.
  std::string inWorld(const std::string& command) const;
  void setVariable(const std::string& assignment) { variables_ += ' ' + quoted(assignment); }

  /// What the managers were asked to change, a command in a line.
  std::string calls() const;
  void forgetCalls() { std::filesystem::remove(state() / "calls"); }

  // --- What is there

  using Files = std::map<std::string, std::string>;
  /// The files below a directory with their contents.
  static Files contentsBelow(const std::filesystem::path& directory);
  /// What the managers keep. The repository that sfcb moved aside does not count.
  Files kept() const;

  std::filesystem::path bin() const { return directory_.path() / "bin"; }
  std::filesystem::path state() const { return directory_.path() / "state"; }
  /// MOF and registration files, a copy of those installed.
  std::filesystem::path data() const { return directory_.path() / "data"; }
  std::filesystem::path mof(const std::string& name) const {
    return data() / "mof" / (name + ".mof");
  }
  /// A directory in which a manager is configured to look for libraries.
  std::filesystem::path searched() const { return directory_.path() / "searched"; }

 private:
  std::filesystem::path stateOfSfcb() const { return sfcbPrefix() / stateDirectory_ / "lib/sfcb"; }

  TemporaryDirectory directory_;
  std::string variables_;
  std::string stateDirectory_ = "var";
};

/// The names of the provider's MOF files, in the order of the file system's names.
const std::vector<std::string>& mofNames();

/// The commands that the page for administrators shows between two of its texts.
std::string documentedCommands(const std::string& from, const std::string& to);

/// Where the libraries are installed.
std::string installedLibrary(const std::string& name);

/// Writes a file anew.
void write(const std::filesystem::path& file, const std::string& content);
/// Replaces the one place in the file where the text is.
void replaceIn(const std::filesystem::path& file, const std::string& text,
               const std::string& replacement);

}  // namespace shipping
