#pragma once

#include <model/cim_error.h>
#include <model/value.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace cimom {

/// An answer that is no CIM-XML response to the request, or one that is beyond its bounds; what()
/// says why.
class ResponseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What an answer may still hold; all parts of one that is pulled count against the same.
struct ResponseBudget {
  std::size_t bytes = std::size_t{512} << 20;
  std::size_t objects = std::size_t{4} << 20;
};

/// One object of an answer.
struct ReceivedObject {
  /// Without properties where the answer lists paths. The path has the namespace of the request
  /// where it names none itself, and no keys where the answer gives the instance alone.
  Instance instance;
  /// False for a path alone.
  bool isInstance = false;
};

/// Reads the response to an intrinsic operation while it arrives, in whatever manner the server
/// writes it: paths with and without namespace and host, instances with and without paths, keys
/// with or without types. Qualifiers are passed over. Values are read by the types that stand with
/// them, so that no schema is needed.
///
/// The document is one in UTF-8 without a document type; besides the budget there are bounds to how
/// deep elements nest, to one tag and to one object. For one thread.
class ResponseReader {
 public:
  /// Of the request: the operation, the message's id, the namespace. The budget outlives the
  /// reader.
  ResponseReader(std::string method, std::string id, std::string nameSpace, ResponseBudget& budget);
  ~ResponseReader();
  ResponseReader(const ResponseReader&) = delete;
  ResponseReader& operator=(const ResponseReader&) = delete;

  /// Reads on. Throws ResponseError.
  void read(std::string_view bytes);
  /// Says that nothing more comes. Throws ResponseError where the document is not complete.
  void finish();

  /// The objects whose end has been read since the last call, in their order.
  std::vector<ReceivedObject> takeObjects();

  /// The failure that the server reports in the response.
  const std::optional<CimError>& error() const noexcept;
  /// Of answers in parts; nothing where the response does not say it.
  std::optional<bool> endOfSequence() const noexcept;
  const std::string& enumerationContext() const noexcept;

 private:
  class Document;
  std::unique_ptr<Document> document_;
};

}  // namespace cimom
