#pragma once

#include <cmpi/cmpi.h>

#include <broker/instance_finder.h>
#include <broker/request_scope.h>
#include <model/operations.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "property_array.h"
#include "shared_text.h"
#include "string_object.h"

namespace cimom {

/// The finder of one provider's instances: context, result and path of all requests are one each,
/// of which a request changes the key alone.
class RepeatedGet final : public InstanceFinder {
 public:
  using Narrow = std::function<void(Instance&)>;
  /// `path` has the class's name, a namespace and the one key; `narrow` does to an instance what
  /// its provider left to do.
  RepeatedGet(CMPIInstanceMI& provider, const ObjectPath& path, PropertyList properties,
              Narrow narrow);

  void findEach(const std::vector<std::string>& texts, const InstanceSink& sink) override;

 private:
  /// Of several instances of an answer the first counts.
  class FirstInstance final : public AnswerReceiver {
   public:
    std::optional<Instance> instance;
    void receive(Instance&& given) override {
      if (!instance) instance = std::move(given);
    }
    void receive(ObjectPath&&) override {}
    void receiveDone() override {}
  };

  struct Release {
    template <class Object>
    void operator()(Object* object) const {
      object->ft->release(object);
    }
  };

  void ask(const std::string& text);
  void setKey(const std::string& text);

  CMPIInstanceMI& provider_;
  std::string className_;
  /// As errors name the provider.
  std::string who_;
  PropertyList properties_;
  PropertyArray list_;
  Narrow narrow_;
  FirstInstance answer_;
  std::unique_ptr<CMPIContext, Release> context_;
  std::unique_ptr<CMPIResult, Release> result_;
  /// What the provider reads the key through.
  StringObject key_{SharedText()};
  std::unique_ptr<CMPIObjectPath, Release> path_;
};

}  // namespace cimom
