#pragma once

#include <string>
#include <system_error>

namespace HostCtl {

/// The bytes of a file, as far as they could be read; `error` says what ended the reading early.
/// Throws nothing of its own: neither a folder nor a failing disk is an exception here.
std::string ReadTextFile(const std::string& path, std::error_code& error);

}  // namespace HostCtl
