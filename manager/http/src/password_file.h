#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace cimom {

/// Users and the hashes of their passwords. Safe from any thread.
class PasswordFile {
 public:
  /// Reads lines of `user:hash`, as `htpasswd -B` writes them and `mkpasswd` the hash; empty lines
  /// and those that begin with # are skipped. Throws std::runtime_error that names the file, the
  /// line and what is wrong with it.
  explicit PasswordFile(const std::string& path);

  /// Takes as long as the hash is meant to, also for users that are not there.
  bool matches(const std::string& user, const std::string& password) const;

 private:
  void addLine(const std::string& line);
  const std::string& standInFor(const std::string& user) const;

  std::map<std::string, std::string> hashes_;
  /// So that nobody can tell which hash stands in for a user that is not there.
  std::size_t secret_;
};

}  // namespace cimom
