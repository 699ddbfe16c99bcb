#pragma once

#include <zelcppc/CmpiAssociationMI.h>
#include <zelcppc/CmpiInstanceMI.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zelInt {

inline std::string textOf(const char* text) {
  return text != nullptr ? text : "null";
}
inline std::string textOf(const char** names) {
  if (names == nullptr) return "null";
  std::string text;
  for (; *names != nullptr; ++names) text += *names + std::string(";");
  return "[" + text + "]";
}
inline std::string textOf(const CmpiInstance& instance) {
  return instance.getHandle() != nullptr ? "instance" : "null";
}

/// A provider whose every operation notes what came and does what the test says.
class ScriptedProvider : public virtual CmpiInstanceMI, public virtual CmpiAssociationMI {
 public:
  ScriptedProvider(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context),
        CmpiInstanceMI(broker, context),
        CmpiAssociationMI(broker, context) {}

  std::function<CmpiStatus(const CmpiContext&, CmpiResult&, const CmpiObjectPath&)> act =
      [](const CmpiContext&, CmpiResult&, const CmpiObjectPath&) { return CmpiStatus(CMPI_RC_OK); };
  std::string seen;

  CmpiStatus enumInstanceNames(const CmpiContext& ctx, CmpiResult& rslt,
                               const CmpiObjectPath& cop) override {
    return run("enumInstanceNames", ctx, rslt, cop);
  }
  CmpiStatus enumInstances(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                           const char** properties) override {
    return run("enumInstances", ctx, rslt, cop, properties);
  }
  CmpiStatus getInstance(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                         const char** properties) override {
    return run("getInstance", ctx, rslt, cop, properties);
  }
  CmpiStatus createInstance(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                            const CmpiInstance& instance) override {
    return run("createInstance", ctx, rslt, cop, instance);
  }
  CmpiStatus setInstance(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                         const CmpiInstance& instance, const char** properties) override {
    return run("setInstance", ctx, rslt, cop, instance, properties);
  }
  CmpiStatus deleteInstance(const CmpiContext& ctx, CmpiResult& rslt,
                            const CmpiObjectPath& cop) override {
    return run("deleteInstance", ctx, rslt, cop);
  }
  CmpiStatus execQuery(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                       const char* query, const char* language) override {
    return run("execQuery", ctx, rslt, cop, query, language);
  }
  CmpiStatus associators(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                         const char* assocClass, const char* resultClass, const char* role,
                         const char* resultRole, const char** properties) override {
    return run("associators", ctx, rslt, cop, assocClass, resultClass, role, resultRole,
               properties);
  }
  CmpiStatus associatorNames(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                             const char* assocClass, const char* resultClass, const char* role,
                             const char* resultRole) override {
    return run("associatorNames", ctx, rslt, cop, assocClass, resultClass, role, resultRole);
  }
  CmpiStatus references(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                        const char* resultClass, const char* role,
                        const char** properties) override {
    return run("references", ctx, rslt, cop, resultClass, role, properties);
  }
  CmpiStatus referenceNames(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                            const char* resultClass, const char* role) override {
    return run("referenceNames", ctx, rslt, cop, resultClass, role);
  }

 private:
  template <class... Arguments>
  CmpiStatus run(const char* operation, const CmpiContext& ctx, CmpiResult& rslt,
                 const CmpiObjectPath& cop, const Arguments&... arguments) {
    seen = operation;
    ((seen += " " + textOf(arguments)), ...);
    return act(ctx, rslt, cop);
  }
};

}  // namespace zelInt
