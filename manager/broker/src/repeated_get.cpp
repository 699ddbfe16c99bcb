#include "repeated_get.h"

#include <model/cim_error.h>

#include <utility>

#include "path_object.h"
#include "provider_call.h"

namespace cimom {

std::optional<Instance> InstanceFinder::find(const std::string& text) {
  std::optional<Instance> found;
  findEach({text}, [&found](Instance&& instance) { found = std::move(instance); });
  return found;
}

RepeatedGet::RepeatedGet(CMPIInstanceMI& provider, const ObjectPath& path, PropertyList properties,
                         Narrow narrow)
    : provider_(provider),
      className_(path.className),
      who_("the provider of " + className_),
      properties_(std::move(properties)),
      list_(properties_),
      narrow_(std::move(narrow)) {
  // A clone belongs to whoever made it, not to the request.
  RequestScope scope;
  const auto clone = [](auto* object) { return object->ft->clone(object, nullptr); };
  context_.reset(clone(scope.newContext(path.nameSpace, 0)));
  result_.reset(clone(scope.newResult(answer_)));
  path_.reset(clone(scope.newPath(path)));
}

// One scope for all: what a question leaves behind is little, and a scope costs as much as a
// question.
void RepeatedGet::findEach(const std::vector<std::string>& texts, const InstanceSink& sink) {
  RequestScope scope;
  for (const std::string& text : texts) {
    ask(text);
    if (!answer_.instance) continue;
    Instance found = *std::exchange(answer_.instance, std::nullopt);
    narrow_(found);
    sink(std::move(found));
  }
}

// Most texts are as long as the one before, and nobody has kept that.
void RepeatedGet::setKey(const std::string& text) {
  auto* path = get<PathObject>(path_.get());
  const bool isInPath = path->firstKey != nullptr;
  if (isInPath && key_.text.overwrite(text, 2)) return;
  key_.text = SharedText(text);
  path->path.keys.front().value = StoredValue::text(key_.text);
  path->firstKey = &key_.handle;
}

void RepeatedGet::ask(const std::string& text) {
  answer_.instance.reset();
  setKey(text);
  CMPIStatus status{CMPI_RC_OK, nullptr};
  guarded(who_, [&] {
    status = provider_.ft->getInstance(&provider_, context_.get(), result_.get(), path_.get(),
                                       list_.get());
  });
  throwUnlessOk(status, className_);
}

}  // namespace cimom
