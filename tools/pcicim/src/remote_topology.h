#pragma once

#include <model/operations.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <topology/topology_reader.h>

namespace pcicim {

/// The topology's questions, put to a CIM server elsewhere, several at a time. The operations have
/// to outlive it, and to be safe from any number of threads.
class RemoteTopology : public TopologySource {
 public:
  /// `server` is what errors call it.
  RemoteTopology(cimom::Operations& operations, std::string server)
      : operations_(operations), server_(std::move(server)) {}

  void instances(std::string_view className, const std::vector<std::string>& properties,
                 const RecordSink& sink) override;
  void names(std::string_view className, const RecordSink& sink) override;
  std::optional<Record> instance(std::string_view className, const std::string& deviceId,
                                 const std::vector<std::string>& properties) override;
  void instancesOf(std::string_view className, const std::vector<std::string>& deviceIds,
                   const std::vector<std::string>& properties, const RecordSink& sink) override;

 private:
  /// Counts questions for single instances, which a server that lies could make endless.
  void count(std::size_t questions);
  cimom::ObjectPath pathOf(std::string_view className, const std::string& deviceId) const;
  std::optional<Record> find(const cimom::ObjectPath& path, const std::string& deviceId,
                             const std::vector<std::string>& properties) const;

  cimom::Operations& operations_;
  std::string server_;
  /// By class, the path of an instance that was listed.
  std::map<std::string, cimom::ObjectPath, std::less<>> examples_;
  std::size_t questions_ = 0;
};

}  // namespace pcicim
