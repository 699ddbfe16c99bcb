// Operations as requests: each asks for a listing in parts where the server knows that, and hands
// the objects over as they are read.
#include <cim_xml/intrinsic_request.h>
#include <cim_xml/response_reader.h>
#include <client/cim_xml_client.h>
#include <model/names.h>
#include <model/short_text.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "client_tls.h"
#include "http_exchange.h"
#include "server_connection.h"

namespace cimom {
namespace {

using ObjectSink = std::function<void(ReceivedObject&&)>;

/// The most objects of one part.
constexpr std::uint32_t kPartObjects = 1000;
/// Parts without an object, one after the other: the server has nothing yet.
constexpr int kMostEmptyParts = 1000;
constexpr const char* kPullInstances = "PullInstancesWithPath";
constexpr const char* kPullPaths = "PullInstancePaths";
constexpr auto kLimitsExceeded = static_cast<CMPIrc>(27);

/// The two ways to ask for a listing, and what is asked.
struct Listing {
  /// Of the operation that opens an enumeration, and of the one that returns all at once.
  const char* open;
  const char* plain;
  /// Of the operation that takes the parts.
  const char* pull;
  std::string nameSpace;
  /// Adds what both have; the flag is true for the one that opens.
  std::function<void(IntrinsicRequest&, bool)> addParameters;
};

/// What a response says beside its objects.
struct Outcome {
  std::optional<bool> isLast;
  std::string context;
};

/// A status that says that the server does not know the operation.
bool isUnknownOperation(CMPIrc code) {
  return code == CMPI_RC_ERR_NOT_SUPPORTED || code == CMPI_RC_ERR_METHOD_NOT_FOUND ||
         code == CMPI_RC_ERR_METHOD_NOT_AVAILABLE;
}

/// A refusal over HTTP that says the same.
bool refusesOperation(const HttpHead& head) {
  constexpr unsigned kNotImplemented = 501;
  return head.status == kNotImplemented || sameName(head.cimError, "unsupported-operation");
}

std::string refusalText(const HttpHead& head, const ServerUrl& url) {
  constexpr unsigned kUnauthorized = 401;
  constexpr unsigned kForbidden = 403;
  constexpr unsigned kNotFound = 404;
  if (head.status == kUnauthorized) {
    return url.user.empty() ? "it asks for a user and a password"
                            : "it does not take the password of " + url.user;
  }
  std::string text = "HTTP status " + std::to_string(head.status);
  if (!head.reason.empty()) text += " " + shortText(head.reason);
  if (!head.cimError.empty()) text += " (" + shortText(head.cimError) + ")";
  if (!head.explanation.empty()) text += ": " + shortText(head.explanation);
  if (head.status == kForbidden) return "it refuses the request: " + text;
  return (head.status == kNotFound ? "no CIM server: " : "no answer: ") + text;
}

bool isDenied(const HttpHead& head) {
  constexpr unsigned kUnauthorized = 401;
  constexpr unsigned kForbidden = 403;
  return head.status == kUnauthorized || head.status == kForbidden;
}

std::optional<CimError> trailingError(const HttpHead& head) {
  int code = 0;
  const char* end = head.statusCode.data() + head.statusCode.size();
  const auto [stop, error] = std::from_chars(head.statusCode.data(), end, code);
  if (error != std::errc() || stop != end || code == 0) return std::nullopt;
  return CimError(static_cast<CMPIrc>(code), shortText(head.statusText));
}

/// The properties that were asked for, and before them keys that the server has left out.
void keepAsked(Instance& instance, const PropertyList& asked) {
  if (!asked) return;
  const ObjectPath& path = instance.path;
  std::erase_if(instance.properties, [&](const NamedValue& property) {
    return !holdsName(*asked, property.name) && path.findKey(property.name) == nullptr;
  });
  std::vector<NamedValue> missing;
  for (const NamedValue& key : path.keys) {
    if (instance.findProperty(key.name) == nullptr) missing.push_back(key);
  }
  instance.properties.insert(instance.properties.begin(), std::make_move_iterator(missing.begin()),
                             std::make_move_iterator(missing.end()));
}

IntrinsicRequest& addPlainFlags(IntrinsicRequest& request) {
  return request.boolean("IncludeQualifiers", false).boolean("IncludeClassOrigin", false);
}

const char* linkedParameter(bool opens) {
  return opens ? "InstanceName" : "ObjectName";
}

void addAssociators(IntrinsicRequest& request, bool opens, const ObjectPath& path,
                    const AssociationFilter& filter) {
  request.path(linkedParameter(opens), path)
      .className("AssocClass", filter.assocClass)
      .className("ResultClass", filter.resultClass)
      .text("Role", filter.role)
      .text("ResultRole", filter.resultRole);
}

void addReferences(IntrinsicRequest& request, bool opens, const ObjectPath& path,
                   const AssociationFilter& filter) {
  request.path(linkedParameter(opens), path)
      .className("ResultClass", filter.resultClass)
      .text("Role", filter.role);
}

}  // namespace

RemoteError::RemoteError(const std::string& server, CMPIrc code, const std::string& text,
                         bool isReported)
    : CimError(code, text), what_(server + ": " + (isReported ? CimError::what() : text.c_str())) {}

/// Requests over a few connections, and what is known of the server.
class CimXmlClient::Requests {
 public:
  explicit Requests(ClientSettings settings) : settings_(std::move(settings)) {
    if (settings_.url.isEncrypted) tls_.emplace(makeClientTls(settings_));
  }

  std::string nameSpaceOf(const ObjectPath& path) const {
    return path.nameSpace.empty() ? settings_.nameSpace : path.nameSpace;
  }

  [[noreturn]] void refuse(const std::string& reason) const {
    throw RemoteError(settings_.url.name, CMPI_RC_ERR_FAILED, reason, false);
  }

  ResponseBudget budget() const {
    return {settings_.limits.answerBytes, settings_.limits.answerObjects};
  }

  void listInstances(const Listing& listing, const PropertyList& asked, const InstanceSink& sink) {
    list(listing, [&](ReceivedObject&& object) {
      if (!object.isInstance) refuse("its answer has a path in place of an instance");
      keepAsked(object.instance, asked);
      sink(std::move(object.instance));
    });
  }

  void listPaths(const Listing& listing, const PathSink& sink) {
    list(listing, [&](ReceivedObject&& object) {
      if (object.isInstance) refuse("its answer has an instance in place of a path");
      sink(std::move(object.instance.path));
    });
  }

  /// One request and its response. Throws RemoteError, also for a failure that the server reports.
  Outcome ask(const IntrinsicRequest& request, ResponseBudget& left, const ObjectSink& sink,
              bool mayRepeat = true) {
    const std::string id = std::to_string(++lastId_);
    const HttpQuestion question{request.method(), request.nameSpace(), request.message(id)};
    std::unique_ptr<ServerConnection> connection = takeConnection();
    ResponseReader reader(request.method(), id, request.nameSpace(), left);
    const BodySink readBody = [&](std::string_view bytes) {
      reader.read(bytes);
      for (ReceivedObject& object : reader.takeObjects()) sink(std::move(object));
    };
    try {
      const HttpHead head = exchange(*connection, question, readBody, mayRepeat);
      keep(std::move(connection));
      finish(head, reader);
    } catch (const ResponseError& error) {
      refuse(error.what());
    } catch (const NoAnswer& error) {
      refuse(error.what());
    }
    return {reader.endOfSequence(), reader.enumerationContext()};
  }

 private:
  void list(const Listing& listing, const ObjectSink& sink) {
    ResponseBudget left = budget();
    if (!knowsParts_ || !listParts(listing, left, sink)) listWhole(listing, left, sink);
  }

  /// A server may end a connection that nobody uses at the moment of the next request; it has not
  /// seen that one then. A part that was taken all the same would be lost, so that is not repeated.
  static HttpHead exchange(ServerConnection& connection, const HttpQuestion& question,
                           const BodySink& sink, bool mayRepeat) {
    try {
      return connection.exchange(question, sink);
    } catch (const ConnectionEnded&) {
      if (!mayRepeat) throw;
    }
    return connection.exchange(question, sink);
  }

  void finish(const HttpHead& head, ResponseReader& reader) const {
    constexpr unsigned kOk = 200;
    if (head.status != kOk) refuseStatus(head);
    // It ends an answer that the server could not complete.
    if (const auto error = trailingError(head)) report(*error);
    reader.finish();
    if (reader.error()) report(*reader.error());
  }

  [[noreturn]] void report(const CimError& error) const {
    throw RemoteError(settings_.url.name, error.code(), error.text(), true);
  }

  [[noreturn]] void refuseStatus(const HttpHead& head) const {
    const CMPIrc code = isDenied(head)           ? CMPI_RC_ERR_ACCESS_DENIED
                        : refusesOperation(head) ? CMPI_RC_ERR_NOT_SUPPORTED
                                                 : CMPI_RC_ERR_FAILED;
    throw RemoteError(settings_.url.name, code, refusalText(head, settings_.url), false);
  }

  std::unique_ptr<ServerConnection> takeConnection() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (idle_.empty()) {
      return std::make_unique<ServerConnection>(settings_, tls_ ? &*tls_ : nullptr);
    }
    std::unique_ptr<ServerConnection> connection = std::move(idle_.back());
    idle_.pop_back();
    return connection;
  }

  void keep(std::unique_ptr<ServerConnection> connection) {
    const std::lock_guard<std::mutex> lock(mutex_);
    idle_.push_back(std::move(connection));
  }

  void listWhole(const Listing& listing, ResponseBudget& left, const ObjectSink& sink) {
    IntrinsicRequest request(listing.plain, listing.nameSpace);
    listing.addParameters(request, false);
    ask(request, left, sink);
  }

  /// False when the server takes no such requests, or none at the moment.
  bool listParts(const Listing& listing, ResponseBudget& left, const ObjectSink& sink) {
    Parts parts{*this, listing, left, sink};
    try {
      parts.open();
    } catch (const RemoteError& error) {
      if (parts.failure) std::rethrow_exception(parts.failure);
      if (parts.hasObjects) throw;
      if (isUnknownOperation(error.code())) knowsParts_ = false;
      if (!isUnknownOperation(error.code()) && error.code() != kLimitsExceeded) throw;
      return false;
    }
    parts.takeAll();
    return true;
  }

  /// One enumeration. What the sink throws waits until the part has been read, for only then is it
  /// known what to close.
  struct Parts {
    void open() {
      IntrinsicRequest request(listing.open, listing.nameSpace);
      listing.addParameters(request, true);
      request.number("MaxObjectCount", kPartObjects);
      take(request);
    }

    void takeAll() {
      while (!isLast && !failure) {
        IntrinsicRequest request(listing.pull, listing.nameSpace);
        request.text("EnumerationContext", context).number("MaxObjectCount", kPartObjects);
        take(request);
      }
      if (!failure) return;
      close();
      std::rethrow_exception(failure);
    }

    void take(const IntrinsicRequest& request) {
      bool isEmpty = true;
      const Outcome outcome = requests.ask(
          request, left,
          [&](ReceivedObject&& object) {
            isEmpty = false;
            hand(std::move(object));
          },
          context.empty());
      if (!outcome.isLast)
        requests.refuse("a part of its answer does not say whether it is the last");
      isLast = *outcome.isLast;
      context = outcome.context;
      if (!isLast && context.empty())
        requests.refuse("a part of its answer does not name the next");
      emptyParts = isEmpty ? emptyParts + 1 : 0;
      if (emptyParts > kMostEmptyParts) requests.refuse("it answers in parts without an object");
    }

    void hand(ReceivedObject&& object) {
      hasObjects = true;
      if (failure) return;
      try {
        sink(std::move(object));
      } catch (...) {
        failure = std::current_exception();
      }
    }

    void close() const {
      if (isLast) return;
      IntrinsicRequest request("CloseEnumeration", listing.nameSpace);
      request.text("EnumerationContext", context);
      try {
        requests.ask(request, left, [](ReceivedObject&&) {});
      } catch (const RemoteError&) {
        // The server ends what nobody asks for by itself.
      }
    }

    Requests& requests;
    const Listing& listing;
    ResponseBudget& left;
    const ObjectSink& sink;
    std::exception_ptr failure = {};
    std::string context = {};
    bool hasObjects = false;
    bool isLast = false;
    int emptyParts = 0;
  };

  const ClientSettings settings_;
  std::optional<boost::asio::ssl::context> tls_;
  std::atomic<unsigned> lastId_ = 0;
  std::atomic<bool> knowsParts_ = true;
  std::mutex mutex_;
  std::vector<std::unique_ptr<ServerConnection>> idle_;
};

CimXmlClient::CimXmlClient(ClientSettings settings)
    : requests_(std::make_unique<Requests>(std::move(settings))) {}

CimXmlClient::~CimXmlClient() = default;

Instance CimXmlClient::getInstance(const ObjectPath& path, const PropertyList& properties) {
  const std::string nameSpace = requests_->nameSpaceOf(path);
  IntrinsicRequest request("GetInstance", nameSpace);
  request.path("InstanceName", path);
  addPlainFlags(request.boolean("LocalOnly", false)).properties(properties);
  std::optional<Instance> found;
  ResponseBudget left = requests_->budget();
  requests_->ask(request, left, [&](ReceivedObject&& object) {
    if (found || !object.isInstance) requests_->refuse("its answer is not one instance");
    found = std::move(object.instance);
  });
  if (!found) requests_->refuse("its answer has no instance");
  // The answer has the class of the instance, and not its name.
  found->path.keys = path.keys;
  keepAsked(*found, properties);
  return std::move(*found);
}

void CimXmlClient::enumerateInstances(const ObjectPath& classPath, const PropertyList& properties,
                                      const InstanceSink& sink) {
  const auto add = [&](IntrinsicRequest& request, bool opens) {
    request.className("ClassName", classPath.className).boolean("DeepInheritance", true);
    if (!opens) addPlainFlags(request.boolean("LocalOnly", false));
    request.properties(properties);
  };
  requests_->listInstances({"OpenEnumerateInstances", "EnumerateInstances", kPullInstances,
                            requests_->nameSpaceOf(classPath), add},
                           properties, sink);
}

void CimXmlClient::enumerateInstanceNames(const ObjectPath& classPath, const PathSink& sink) {
  const auto add = [&](IntrinsicRequest& request, bool /*opens*/) {
    request.className("ClassName", classPath.className);
  };
  requests_->listPaths({"OpenEnumerateInstancePaths", "EnumerateInstanceNames", kPullPaths,
                        requests_->nameSpaceOf(classPath), add},
                       sink);
}

void CimXmlClient::associators(const ObjectPath& path, const AssociationFilter& filter,
                               const PropertyList& properties, const InstanceSink& sink) {
  const auto add = [&](IntrinsicRequest& request, bool opens) {
    addAssociators(request, opens, path, filter);
    if (!opens) addPlainFlags(request);
    request.properties(properties);
  };
  requests_->listInstances(
      {"OpenAssociatorInstances", "Associators", kPullInstances, requests_->nameSpaceOf(path), add},
      properties, sink);
}

void CimXmlClient::associatorNames(const ObjectPath& path, const AssociationFilter& filter,
                                   const PathSink& sink) {
  const auto add = [&](IntrinsicRequest& request, bool opens) {
    addAssociators(request, opens, path, filter);
  };
  requests_->listPaths({"OpenAssociatorInstancePaths", "AssociatorNames", kPullPaths,
                        requests_->nameSpaceOf(path), add},
                       sink);
}

void CimXmlClient::references(const ObjectPath& path, const AssociationFilter& filter,
                              const PropertyList& properties, const InstanceSink& sink) {
  const auto add = [&](IntrinsicRequest& request, bool opens) {
    addReferences(request, opens, path, filter);
    if (!opens) addPlainFlags(request);
    request.properties(properties);
  };
  requests_->listInstances(
      {"OpenReferenceInstances", "References", kPullInstances, requests_->nameSpaceOf(path), add},
      properties, sink);
}

void CimXmlClient::referenceNames(const ObjectPath& path, const AssociationFilter& filter,
                                  const PathSink& sink) {
  const auto add = [&](IntrinsicRequest& request, bool opens) {
    addReferences(request, opens, path, filter);
  };
  requests_->listPaths({"OpenReferenceInstancePaths", "ReferenceNames", kPullPaths,
                        requests_->nameSpaceOf(path), add},
                       sink);
}

}  // namespace cimom
