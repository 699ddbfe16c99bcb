// A provider whose answers say what it was asked: instances carry in Note the class that served
// the request and the arguments it was called with. What getInstance does depends on the key Name;
// see the functions below.
#include <cmpi/cmpi.h>

#include <string>

namespace {

/// The provider of one class. Its two records refer back to it.
struct Served {
  const char* className;
  const CMPIBroker* broker;
  CMPIInstanceMI instance;
  CMPIAssociationMI association;
};

template <class Record>
const Served& servedBy(const Record* mi) {
  return *static_cast<const Served*>(mi->hdl);
}

const CMPIValue* chars(const std::string& text) {
  return reinterpret_cast<const CMPIValue*>(text.c_str());
}

std::string textOr(const char* text, const char* otherwise) {
  return text != nullptr ? text : otherwise;
}

std::string listed(const char** properties) {
  if (properties == nullptr) return "all";
  std::string text;
  for (; *properties != nullptr; ++properties)
    text += (text.empty() ? "" : ",") + std::string(*properties);
  return "[" + text + "]";
}

CMPIObjectPath* namedPath(const Served& served, const CMPIObjectPath* request,
                          const std::string& name) {
  const CMPIString* nameSpace = request->ft->getNameSpace(request, nullptr);
  CMPIObjectPath* path = served.broker->eft->newObjectPath(
      served.broker, nameSpace->ft->getCharPtr(nameSpace, nullptr), served.className, nullptr);
  path->ft->addKey(path, "Name", chars(name), CMPI_chars);
  return path;
}

CMPIStatus returnInstance(const Served& served, const CMPIResult* result,
                          const CMPIObjectPath* request, const std::string& name,
                          const std::string& note) {
  const CMPIObjectPath* path = namedPath(served, request, name);
  CMPIInstance* instance = served.broker->eft->newInstance(served.broker, path, nullptr);
  CMPIValue size{};
  size.uint16 = 7;
  instance->ft->setProperty(instance, "Note", chars(note), CMPI_chars);
  instance->ft->setProperty(instance, "Size", &size, CMPI_uint16);
  return result->ft->returnInstance(result, instance);
}

std::string nameOf(const CMPIObjectPath* path) {
  const CMPIData name = path->ft->getKey(path, "Name", nullptr);
  return name.state == CMPI_goodValue
             ? name.value.string->ft->getCharPtr(name.value.string, nullptr)
             : "";
}

CMPIStatus failure(const Served& served, CMPIrc code, const char* text) {
  return {code, served.broker->eft->newString(served.broker, text, nullptr)};
}

template <class Record>
CMPIStatus cleanup(Record*, const CMPIContext*, CMPIBoolean) {
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus enumerateInstanceNames(CMPIInstanceMI* mi, const CMPIContext*, const CMPIResult* result,
                                  const CMPIObjectPath* path) {
  result->ft->returnObjectPath(result, namedPath(servedBy(mi), path, "one"));
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus enumerateInstances(CMPIInstanceMI* mi, const CMPIContext*, const CMPIResult* result,
                              const CMPIObjectPath* path, const char** properties) {
  returnInstance(servedBy(mi), result, path, "one", listed(properties));
  return {CMPI_RC_OK, nullptr};
}

/// The request's path of "keep", for "kept".
CMPIObjectPath* keptPath = nullptr;

std::string nameOfKept() {
  const std::string name = nameOf(keptPath);
  keptPath->ft->release(keptPath);
  return name;
}

/// "none": OK without an instance; "absent", "denied", "silent": statuses of its own, the last
/// without text; "twice": two instances; "again": asks the object manager for itself; "keep": none,
/// but its path is what the next one, "kept", names in Note; "move": changes the path's own name
/// before it reads it.
CMPIStatus getInstance(CMPIInstanceMI* mi, const CMPIContext* context, const CMPIResult* result,
                       const CMPIObjectPath* path, const char** properties) {
  const Served& served = servedBy(mi);
  const std::string name = nameOf(path);
  if (name == "none") return {CMPI_RC_OK, nullptr};
  if (name == "absent") return failure(served, CMPI_RC_ERR_NOT_FOUND, "it is not there");
  if (name == "denied") return failure(served, CMPI_RC_ERR_ACCESS_DENIED, "ask somebody else");
  if (name == "silent") return {CMPI_RC_ERR_ACCESS_DENIED, nullptr};
  if (name == "again") {
    CMPIStatus status{CMPI_RC_OK, nullptr};
    served.broker->bft->getInstance(served.broker, context, path, properties, &status);
    return status;
  }
  if (name == "keep") {
    keptPath = path->ft->clone(path, nullptr);
    return {CMPI_RC_OK, nullptr};
  }
  if (name == "kept") return returnInstance(served, result, path, name, nameOfKept());
  if (name == "move") {
    path->ft->addKey(path, "Name", chars("away"), CMPI_chars);
    return returnInstance(served, result, path, nameOf(path), listed(properties));
  }
  returnInstance(served, result, path, name, listed(properties));
  if (name == "twice") returnInstance(served, result, path, "second", "of two");
  return {CMPI_RC_OK, nullptr};
}

/// The filters, with a dash for each that was not given.
std::string filters(const char* assocClass, const char* resultClass, const char* role,
                    const char* resultRole) {
  return textOr(assocClass, "-") + "/" + textOr(resultClass, "-") + "/" + textOr(role, "-") + "/" +
         textOr(resultRole, "-");
}

CMPIStatus associators(CMPIAssociationMI* mi, const CMPIContext*, const CMPIResult* result,
                       const CMPIObjectPath* path, const char* assocClass, const char* resultClass,
                       const char* role, const char* resultRole, const char** properties) {
  returnInstance(servedBy(mi), result, path, "associators of " + nameOf(path),
                 filters(assocClass, resultClass, role, resultRole) + " " + listed(properties));
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus associatorNames(CMPIAssociationMI* mi, const CMPIContext*, const CMPIResult* result,
                           const CMPIObjectPath* path, const char* assocClass,
                           const char* resultClass, const char* role, const char* resultRole) {
  const std::string name = filters(assocClass, resultClass, role, resultRole);
  result->ft->returnObjectPath(result, namedPath(servedBy(mi), path, name));
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus references(CMPIAssociationMI* mi, const CMPIContext*, const CMPIResult* result,
                      const CMPIObjectPath* path, const char* resultClass, const char* role,
                      const char** properties) {
  returnInstance(servedBy(mi), result, path, "references of " + nameOf(path),
                 textOr(resultClass, "-") + "/" + textOr(role, "-") + " " + listed(properties));
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus referenceNames(CMPIAssociationMI* mi, const CMPIContext*, const CMPIResult* result,
                          const CMPIObjectPath* path, const char* resultClass, const char* role) {
  const std::string name = textOr(resultClass, "-") + "/" + textOr(role, "-");
  result->ft->returnObjectPath(result, namedPath(servedBy(mi), path, name));
  return {CMPI_RC_OK, nullptr};
}

// Test_Stepwise: its listings return "one", "two" and "three" and then fail; getInstance returns in
// Note what became of the objects of the last listing so far.

std::string steps;

CMPIStatus noteStep(const Served& served, CMPIStatus taken) {
  steps += taken.rc == CMPI_RC_OK ? "+" : "-";
  return failure(served, CMPI_RC_ERR_FAILED, "no more steps");
}

CMPIStatus enumerateStepNames(CMPIInstanceMI* mi, const CMPIContext*, const CMPIResult* result,
                              const CMPIObjectPath* path) {
  const Served& served = servedBy(mi);
  steps.clear();
  CMPIStatus end{CMPI_RC_OK, nullptr};
  for (const char* name : {"one", "two", "three"}) {
    end = noteStep(served, result->ft->returnObjectPath(result, namedPath(served, path, name)));
  }
  return end;
}

CMPIStatus enumerateSteps(CMPIInstanceMI* mi, const CMPIContext*, const CMPIResult* result,
                          const CMPIObjectPath* path, const char** properties) {
  const Served& served = servedBy(mi);
  steps.clear();
  CMPIStatus end{CMPI_RC_OK, nullptr};
  for (const char* name : {"one", "two", "three"}) {
    end = noteStep(served, returnInstance(served, result, path, name, listed(properties)));
  }
  return end;
}

CMPIStatus getSteps(CMPIInstanceMI* mi, const CMPIContext*, const CMPIResult* result,
                    const CMPIObjectPath* path, const char**) {
  return returnInstance(servedBy(mi), result, path, "steps", steps);
}

CMPIInstanceMIFT makeInstanceTable() {
  CMPIInstanceMIFT table{};
  table.ftVersion = 100;
  table.miVersion = 100;
  table.miName = "scripted";
  table.cleanup = cleanup<CMPIInstanceMI>;
  table.enumerateInstanceNames = enumerateInstanceNames;
  table.enumerateInstances = enumerateInstances;
  table.getInstance = getInstance;
  return table;
}

CMPIInstanceMIFT makeStepTable() {
  CMPIInstanceMIFT table = makeInstanceTable();
  table.enumerateInstanceNames = enumerateStepNames;
  table.enumerateInstances = enumerateSteps;
  table.getInstance = getSteps;
  return table;
}

CMPIAssociationMIFT makeAssociationTable() {
  CMPIAssociationMIFT table{};
  table.ftVersion = 100;
  table.miVersion = 100;
  table.miName = "scripted";
  table.cleanup = cleanup<CMPIAssociationMI>;
  table.associators = associators;
  table.associatorNames = associatorNames;
  table.references = references;
  table.referenceNames = referenceNames;
  return table;
}

const CMPIInstanceMIFT kInstanceTable = makeInstanceTable();
const CMPIInstanceMIFT kStepTable = makeStepTable();
const CMPIAssociationMIFT kAssociationTable = makeAssociationTable();

void fill(Served& served, const char* className, const CMPIBroker* broker) {
  served = {className, broker, {&served, &kInstanceTable}, {&served, &kAssociationTable}};
}

}  // namespace

// A provider library has no header of its own.
extern "C" {

#define FACTORY(name, kind)                                                                     \
  __attribute__((visibility("default")))                                                        \
  CMPI##kind##MI* name##_Create_##kind##MI(const CMPIBroker*, const CMPIContext*, CMPIStatus*); \
  CMPI##kind##MI* name##_Create_##kind##MI([[maybe_unused]] const CMPIBroker* broker,           \
                                           const CMPIContext*,                                  \
                                           [[maybe_unused]] CMPIStatus* status)

#define SERVE(name, kind, record) \
  FACTORY(name, kind) {           \
    static Served served;         \
    fill(served, #name, broker);  \
    return &served.record;        \
  }

SERVE(Test_Thing, Instance, instance)
SERVE(Test_SmallThing, Instance, instance)
SERVE(Test_Link, Association, association)
SERVE(Test_NarrowLink, Association, association)
SERVE(Test_OtherLink, Association, association)

FACTORY(Test_Stepwise, Instance) {
  static Served served;
  fill(served, "Test_Stepwise", broker);
  served.instance.ft = &kStepTable;
  return &served.instance;
}

FACTORY(Test_Refused, Instance) {
  *status = {CMPI_RC_ERR_ACCESS_DENIED,
             broker->eft->newString(broker, "the factory is closed", nullptr)};
  return nullptr;
}

FACTORY(Test_Empty, Instance) {
  return nullptr;
}
}
