#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace pcicim {

/// A text that is no object path: what() says why and at which character, counted from 1.
class PathError : public std::runtime_error {
 public:
  PathError(std::string_view reason, std::size_t position);
};

/// An object path as written; what its values mean is the class's to say.
struct PathText {
  struct Key {
    enum class Kind { kString, kNumber, kBoolean };

    std::string name;
    Kind kind = Kind::kString;
    /// Strings with their escapes resolved, a nested path among them; others as written.
    std::string value;
    /// Where the value begins, counted from 1.
    std::size_t position = 0;
  };

  /// Empty when the text names none.
  std::string nameSpace;
  std::string className;
  std::vector<Key> keys;
};

/// Reads [[HOST/]NAMESPACE:]CLASS[.KEY=VALUE[,KEY=VALUE]...] with values in double quotes (escapes
/// as in MOF), whole numbers (also in hexadecimal digits, 0x1f), TRUE or FALSE. HOST is //NAME,
/// http://[USER@]NAME[:PORT], the same with https, or [USER@]NAME:PORT, as other clients print it,
/// and is dropped. A key named twice is an error. Throws PathError.
PathText parsePath(std::string_view text);

}  // namespace pcicim
