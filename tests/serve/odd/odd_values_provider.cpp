#include <zelcppc/CmpiAssociationMI.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiInstanceMI.h>
#include <zelcppc/ProviderFactory.h>

#include <functional>
#include <vector>

#include "odd_values.h"

namespace servetest {
namespace {

using zelInt::CmpiBroker;
using zelInt::CmpiContext;
using zelInt::CmpiData;
using zelInt::CmpiInstance;
using zelInt::CmpiObjectPath;
using zelInt::CmpiResult;
using zelInt::CmpiStatus;

constexpr char kNameSpace[] = "root/cimv2";

CmpiObjectPath thing(std::size_t index) {
  CmpiObjectPath path(kNameSpace, "Odd_Thing");
  path.setKey("Name", CmpiData(kOddNames[index % kOddNames.size()]));
  return path;
}

/// Each thing is linked to the next, the last one to the first.
CmpiObjectPath link(std::size_t index) {
  CmpiObjectPath path(kNameSpace, "Odd_Link");
  path.setKey("Left", CmpiData(thing(index)));
  path.setKey("Right", CmpiData(thing(index + 1)));
  return path;
}

CmpiObjectPath remark(std::size_t index) {
  CmpiObjectPath path(kNameSpace, "Odd_Remark");
  path.setKey("Subject", CmpiData(link(index)));
  return path;
}

using MakePath = CmpiObjectPath (*)(std::size_t);

/// One instance for each odd name.
template <MakePath makePath, bool hasText>
class OddInstances : public virtual zelInt::CmpiInstanceMI {
 public:
  OddInstances(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context), CmpiInstanceMI(broker, context) {}

  CmpiStatus enumInstanceNames(const CmpiContext&, CmpiResult& result,
                               const CmpiObjectPath&) override {
    for (std::size_t i = 0; i < kOddNames.size(); ++i) result.returnData(makePath(i));
    return done(result);
  }

  CmpiStatus enumInstances(const CmpiContext&, CmpiResult& result, const CmpiObjectPath&,
                           const char** properties) override {
    for (std::size_t i = 0; i < kOddNames.size(); ++i) result.returnData(make(i, properties));
    return done(result);
  }

  CmpiStatus getInstance(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& cop,
                         const char** properties) override {
    for (std::size_t i = 0; i < kOddNames.size(); ++i) {
      if (makePath(i) != cop) continue;
      result.returnData(make(i, properties));
      return done(result);
    }
    return {CMPI_RC_ERR_NOT_FOUND, "no such instance"};
  }

 protected:
  static CmpiStatus done(CmpiResult& result) {
    result.returnDone();
    return CmpiStatus(CMPI_RC_OK);
  }

  static CmpiInstance make(std::size_t index, const char** properties) {
    CmpiInstance instance(makePath(index));
    if (hasText) instance.setProperty("Text", CmpiData(textOf(index)));
    instance.setPropertyFilter(properties, nullptr);
    return instance;
  }

  /// The name itself; with the plain name the text that is no UTF-8.
  static const char* textOf(std::size_t index) {
    return index == 0 ? kLatin1Text : kOddNames[index];
  }
};

using Things = OddInstances<thing, true>;
using Remarks = OddInstances<remark, true>;

class Links : public OddInstances<link, false>, public virtual zelInt::CmpiAssociationMI {
 public:
  Links(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context),
        CmpiInstanceMI(broker, context),
        CmpiAssociationMI(broker, context),
        OddInstances(broker, context) {}

  CmpiStatus associatorNames(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& cop,
                             const char*, const char*, const char*, const char*) override {
    forLinksOf(cop, [&](std::size_t, std::size_t other) { result.returnData(thing(other)); });
    return done(result);
  }

  CmpiStatus associators(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& cop,
                         const char*, const char*, const char*, const char*,
                         const char** properties) override {
    forLinksOf(cop, [&](std::size_t, std::size_t other) {
      CmpiInstance instance(thing(other));
      instance.setPropertyFilter(properties, nullptr);
      result.returnData(instance);
    });
    return done(result);
  }

  CmpiStatus referenceNames(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& cop,
                            const char*, const char*) override {
    forLinksOf(cop, [&](std::size_t index, std::size_t) { result.returnData(link(index)); });
    return done(result);
  }

  CmpiStatus references(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& cop,
                        const char*, const char*, const char** properties) override {
    forLinksOf(cop,
               [&](std::size_t index, std::size_t) { result.returnData(make(index, properties)); });
    return done(result);
  }

 private:
  using Visit = std::function<void(std::size_t link, std::size_t otherThing)>;

  static void forLinksOf(const CmpiObjectPath& cop, const Visit& visit) {
    for (std::size_t i = 0; i < kOddNames.size(); ++i) {
      if (thing(i) == cop) visit(i, i + 1);
      if (thing(i + 1) == cop) visit(i, i);
    }
  }
};

}  // namespace
}  // namespace servetest

ZELCPPC_HOLDER(Odd_Thing);
ZELCPPC_INSTANCE_FACTORY(Odd_Thing, servetest::Things);
ZELCPPC_HOLDER(Odd_Remark);
ZELCPPC_INSTANCE_FACTORY(Odd_Remark, servetest::Remarks);
ZELCPPC_HOLDER(Odd_Link);
ZELCPPC_INSTANCE_FACTORY(Odd_Link, servetest::Links);
ZELCPPC_ASSOCIATION_FACTORY(Odd_Link, servetest::Links);
