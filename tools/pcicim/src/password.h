#pragma once

#include <string>

namespace pcicim {

/// The password of a user: the first line of the file where one is named, else what
/// PCICIM_PASSWORD holds, else what is typed at the terminal, where it is not shown. Throws
/// std::runtime_error where none of them has one.
std::string readPassword(const std::string& user, const std::string& file);

}  // namespace pcicim
