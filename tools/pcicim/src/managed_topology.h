#pragma once

#include <broker/instance_finder.h>
#include <broker/object_manager.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <topology/topology_reader.h>

namespace pcicim {

/// The topology's questions, put to an object manager, which has to outlive it.
class ManagedTopology : public TopologySource {
 public:
  explicit ManagedTopology(cimom::ObjectManager& manager) : manager_(manager) {}

  void instances(std::string_view className, const std::vector<std::string>& properties,
                 const RecordSink& sink) override;
  void names(std::string_view className, const RecordSink& sink) override;
  std::optional<Record> instance(std::string_view className, const std::string& deviceId,
                                 const std::vector<std::string>& properties) override;
  void instancesOf(std::string_view className, const std::vector<std::string>& deviceIds,
                   const std::vector<std::string>& properties, const RecordSink& sink) override;

 private:
  cimom::InstanceFinder& finderOf(std::string_view className,
                                  const std::vector<std::string>& properties);

  cimom::ObjectManager& manager_;
  /// By class; each asks for the properties of its first question.
  std::map<std::string, std::unique_ptr<cimom::InstanceFinder>, std::less<>> finders_;
};

}  // namespace pcicim
