#include "asked_host.h"

#include <client/cim_xml_client.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

#include "managed_topology.h"
#include "password.h"
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
  explicit RemoteHost(const cimom::ClientSettings& settings)
      : name_(settings.url.name), client_(settings), topology_(client_, name_) {}

  std::string name() const override { return name_; }
  cimom::Operations& operations() override { return client_; }
  TopologySource& topology() override { return topology_; }

 private:
  std::string name_;
  cimom::CimXmlClient client_;
  RemoteTopology topology_;
};

cimom::ClientLimits limitsFor(const RemoteOptions& options) {
  cimom::ClientLimits limits;
  if (!options.timeout) return limits;
  limits.progressTime = std::chrono::seconds(*options.timeout);
  limits.connectTime = std::min(limits.connectTime, limits.progressTime);
  return limits;
}

std::vector<std::unique_ptr<AskedHost>> remoteHosts(const RemoteOptions& options) {
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
    hosts.push_back(std::make_unique<RemoteHost>(settings));
  }
  return hosts;
}

}  // namespace

std::vector<std::unique_ptr<AskedHost>> askedHosts(Session& session, const Options& options) {
  if (!options.remote.urls.empty()) return remoteHosts(options.remote);
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
