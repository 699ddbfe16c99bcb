#pragma once

#include <client/server_url.h>
#include <model/operations.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace cimom {

/// A request to a server that failed. what() begins with the server's name, once; text() and code()
/// are what the server reported, or why there is no answer (CMPI_RC_ERR_FAILED; ACCESS_DENIED where
/// it wants another password).
class RemoteError : public CimError {
 public:
  /// `isReported` is true where the server answered with that code.
  RemoteError(const std::string& server, CMPIrc code, const std::string& text, bool isReported);

  const char* what() const noexcept override { return what_.c_str(); }

 private:
  std::string what_;
};

/// How long and how much is waited for.
struct ClientLimits {
  /// For name, connection and TLS handshake together.
  std::chrono::milliseconds connectTime = std::chrono::seconds(20);
  /// In which 1 KiB of an answer has to come, and its whole head, or its end.
  std::chrono::milliseconds progressTime = std::chrono::seconds(60);
  /// Of the head and the trailers of an answer.
  std::uint32_t headBytes = 64U << 10;
  /// Of all parts of one answer.
  std::size_t answerBytes = std::size_t{512} << 20;
  std::size_t answerObjects = std::size_t{4} << 20;
};

struct ClientSettings {
  ServerUrl url;
  std::string password = {};
  /// Certificates of the authorities to trust, in PEM; empty: those that the system trusts.
  std::string caFile = {};
  /// Take any certificate, and send a password also where others can read it.
  bool isInsecure = false;
  /// The namespace of paths that name none.
  std::string nameSpace = "root/cimv2";
  ClientLimits limits = {};
};

/// The operations of a server elsewhere, asked over CIM-XML (DMTF DSP0200). Listings are pulled in
/// parts where the server knows that, else asked for at once. Connections stay open from one
/// request to the next. Each operation throws RemoteError, and what a sink throws; when a sink
/// throws, the server is told that nobody wants the rest. Instances that are asked for with a
/// property list have those properties and their keys, whatever more the server sends.
///
/// Safe from any number of threads; each that asks at the same time has a connection of its own.
///
///     CimXmlClient client({.url = parseServerUrl("https://admin@node7"), .password = password});
///     for (const Instance& instance : client.enumerateInstances({.className = "Zelmar_PCIPort"}))
class CimXmlClient : public Operations {
 public:
  /// Connects to nothing yet. Throws std::runtime_error when the certificates cannot be read, with
  /// the name of their file.
  explicit CimXmlClient(ClientSettings settings);
  ~CimXmlClient() override;
  CimXmlClient(const CimXmlClient&) = delete;
  CimXmlClient& operator=(const CimXmlClient&) = delete;

  using Operations::associatorNames;
  using Operations::associators;
  using Operations::enumerateInstanceNames;
  using Operations::enumerateInstances;
  using Operations::referenceNames;
  using Operations::references;

  Instance getInstance(const ObjectPath& path, const PropertyList& properties) override;
  void enumerateInstances(const ObjectPath& classPath, const PropertyList& properties,
                          const InstanceSink& sink) override;
  void enumerateInstanceNames(const ObjectPath& classPath, const PathSink& sink) override;
  void associators(const ObjectPath& path, const AssociationFilter& filter,
                   const PropertyList& properties, const InstanceSink& sink) override;
  void associatorNames(const ObjectPath& path, const AssociationFilter& filter,
                       const PathSink& sink) override;
  void references(const ObjectPath& path, const AssociationFilter& filter,
                  const PropertyList& properties, const InstanceSink& sink) override;
  void referenceNames(const ObjectPath& path, const AssociationFilter& filter,
                      const PathSink& sink) override;

 private:
  class Requests;
  std::unique_ptr<Requests> requests_;
};

}  // namespace cimom
