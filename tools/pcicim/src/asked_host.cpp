#include "asked_host.h"

#include <client/cim_xml_client.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

#include "checked_operations.h"
#include "managed_topology.h"
#include "password.h"
#include "path_text.h"
#include "remote_topology.h"

namespace pcicim {
namespace {

class LocalHost : public AskedHost {
 public:
  explicit LocalHost(Session& session) : session_(session) {}

  std::string name() const override {
    const std::string given = session_.hostName();
    return given.empty() ? nodeName() : given;
  }
  cimom::Operations& operations() override { return session_.operations(); }
  TopologySource& topology() override {
    if (!topology_) topology_.emplace(session_.manager());
    return *topology_;
  }

 private:
  Session& session_;
  std::optional<ManagedTopology> topology_;
};

class RemoteHost : public AskedHost {
 public:
  RemoteHost(const cimom::ClientSettings& settings, const cimom::ClassRepository& classes,
             bool isChecked)
      : name_(settings.url.name),
        client_(settings),
        checked_(client_, classes),
        isChecked_(isChecked),
        topology_(client_, name_) {}

  std::string name() const override { return name_; }
  cimom::Operations& operations() override {
    return isChecked_ ? static_cast<cimom::Operations&>(checked_) : client_;
  }
  TopologySource& topology() override { return topology_; }

 private:
  std::string name_;
  cimom::CimXmlClient client_;
  CheckedOperations checked_;
  bool isChecked_;
  RemoteTopology topology_;
};

cimom::ClientLimits limitsFor(const RemoteOptions& options) {
  cimom::ClientLimits limits;
  if (!options.timeout) return limits;
  limits.progressTime = std::chrono::seconds(*options.timeout);
  limits.connectTime = std::min(limits.connectTime, limits.progressTime);
  return limits;
}

/// The class that the command is about; empty where it is about none.
std::string targetClass(const Options& options) {
  switch (options.command) {
    case Command::kEnumerate:
      return options.target;
    case Command::kGet:
    case Command::kAssociators:
    case Command::kAssociatorNames:
    case Command::kReferences:
    case Command::kReferenceNames:
      // Where an address stands for the path, the class follows from what is there.
      return options.target.empty() ? "" : parsePath(options.target).className;
    default:
      return "";
  }
}

/// Nothing can be said of classes that only the server knows.
bool knowsAll(const cimom::ClassRepository& classes, const Options& options) {
  const auto names = {targetClass(options), options.assocClass, options.resultClass};
  return std::ranges::all_of(names, [&classes](const std::string& name) {
    return name.empty() || classes.contains(name);
  });
}

std::vector<std::unique_ptr<AskedHost>> remoteHosts(const Session& session, const Options& asked) {
  const RemoteOptions& options = asked.remote;
  const bool isChecked = knowsAll(session.classes(), asked);
  std::vector<std::unique_ptr<AskedHost>> hosts;
  std::map<std::string, std::string> passwords;
  for (const std::string& text : options.urls) {
    cimom::ClientSettings settings;
    settings.url = cimom::parseServerUrl(text);
    settings.caFile = options.caFile;
    settings.isInsecure = options.insecure;
    settings.limits = limitsFor(options);
    const std::string& user = settings.url.user;
    if (!user.empty()) {
      auto known = passwords.find(user);
      if (known == passwords.end()) {
        known = passwords.emplace(user, readPassword(user, options.passwordFile)).first;
      }
      settings.password = known->second;
    }
    hosts.push_back(std::make_unique<RemoteHost>(settings, session.classes(), isChecked));
  }
  return hosts;
}

}  // namespace

std::vector<std::unique_ptr<AskedHost>> askedHosts(Session& session, const Options& options) {
  if (!options.remote.urls.empty()) return remoteHosts(session, options);
  std::vector<std::unique_ptr<AskedHost>> hosts;
  hosts.push_back(std::make_unique<LocalHost>(session));
  return hosts;
}

std::unique_ptr<AskedHost> askedHost(Session& session, const Options& options) {
  if (options.remote.urls.size() > 1) {
    throw std::runtime_error("one host at a time: --url is given more than once");
  }
  return std::move(askedHosts(session, options).front());
}

}  // namespace pcicim
