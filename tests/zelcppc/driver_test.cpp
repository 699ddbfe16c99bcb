// The entry points of the function tables, called as an object manager calls them: each reaches its
// operation with all arguments, and every failure of a provider becomes a status. One table lists
// the operations with a way to send each; the tests go through it with a provider that a test
// scripts, and with records that name no provider.
#include "binding_test.h"
#include "scripted_provider.h"

#include <zelcppc/CmpiArray.h>
#include <zelcppc/CmpiEnumeration.h>
#include <zelcppc/CmpiResult.h>
#include <zelcppc/ProviderFactory.h>

#include <functional>
#include <memory>
#include <ostream>
#include <stdexcept>

namespace zelInt {
namespace {

using test_support::DecoratedBroker;
using testing::IsEmpty;

const CMPIInstanceMIFT kInstanceTable = makeInstanceTable("instanceThing");
const CMPIAssociationMIFT kAssociationTable = makeAssociationTable("associationThing");

/// What an object manager sends with a request.
struct Request {
  void* provider;
  const CMPIContext* context;
  const CMPIResult* result;
  const CMPIObjectPath* path;
  const CMPIInstance* instance;
  const char** properties;
};

struct Operation {
  const char* name;
  CMPIStatus (*send)(const Request&);
  /// What the provider sees of the filters and lists.
  const char* seen;
};

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

template <auto Slot, class... Arguments>
CMPIStatus sendToInstances(const Request& request, Arguments... arguments) {
  CMPIInstanceMI mi{request.provider, &kInstanceTable};
  return (mi.ft->*Slot)(&mi, request.context, request.result, request.path, arguments...);
}

template <auto Slot, class... Arguments>
CMPIStatus sendToAssociations(const Request& request, Arguments... arguments) {
  CMPIAssociationMI mi{request.provider, &kAssociationTable};
  return (mi.ft->*Slot)(&mi, request.context, request.result, request.path, arguments...);
}

constexpr const char* kNone = nullptr;

const Operation kOperations[] = {
    {"EnumInstanceNames",
     [](const Request& r) { return sendToInstances<&CMPIInstanceMIFT::enumerateInstanceNames>(r); },
     "enumInstanceNames"},
    {"EnumInstances",
     [](const Request& r) {
       return sendToInstances<&CMPIInstanceMIFT::enumerateInstances>(r, r.properties);
     },
     "enumInstances [Name;Note;]"},
    {"GetInstance",
     [](const Request& r) {
       return sendToInstances<&CMPIInstanceMIFT::getInstance>(r, r.properties);
     },
     "getInstance [Name;Note;]"},
    {"CreateInstance",
     [](const Request& r) {
       return sendToInstances<&CMPIInstanceMIFT::createInstance>(r, r.instance);
     },
     "createInstance instance"},
    {"SetInstance",
     [](const Request& r) {
       return sendToInstances<&CMPIInstanceMIFT::modifyInstance>(r, r.instance, r.properties);
     },
     "setInstance instance [Name;Note;]"},
    {"DeleteInstance",
     [](const Request& r) { return sendToInstances<&CMPIInstanceMIFT::deleteInstance>(r); },
     "deleteInstance"},
    {"ExecQuery",
     [](const Request& r) {
       return sendToInstances<&CMPIInstanceMIFT::execQuery>(r, "select", "DMTF:CQL");
     },
     "execQuery select DMTF:CQL"},
    {"Associators",
     [](const Request& r) {
       return sendToAssociations<&CMPIAssociationMIFT::associators>(r, "A", "B", "C", "D",
                                                                    r.properties);
     },
     "associators A B C D [Name;Note;]"},
    {"AssociatorsWithoutFilters",
     [](const Request& r) {
       return sendToAssociations<&CMPIAssociationMIFT::associators>(
           r, kNone, kNone, kNone, kNone, static_cast<const char**>(nullptr));
     },
     "associators null null null null null"},
    {"AssociatorNames",
     [](const Request& r) {
       return sendToAssociations<&CMPIAssociationMIFT::associatorNames>(r, "A", "B", "C", "D");
     },
     "associatorNames A B C D"},
    {"References",
     [](const Request& r) {
       return sendToAssociations<&CMPIAssociationMIFT::references>(r, "B", "C", r.properties);
     },
     "references B C [Name;Note;]"},
    {"ReferenceNames",
     [](const Request& r) {
       return sendToAssociations<&CMPIAssociationMIFT::referenceNames>(r, "B", "C");
     },
     "referenceNames B C"},
};

/// A provider of instances alone that overrides nothing.
class PlainInstances : public virtual CmpiInstanceMI {
 public:
  PlainInstances(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context), CmpiInstanceMI(broker, context) {}
};
/// The same for associations.
class PlainAssociations : public virtual CmpiAssociationMI {
 public:
  PlainAssociations(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context), CmpiAssociationMI(broker, context) {}
};

class DriverTest : public BindingTest, public testing::WithParamInterface<Operation> {
 protected:
  Request requestTo(CmpiBaseMI* target) {
    return {target, context, result, path, instance.getHandle(), properties};
  }
  CMPIStatus send() { return GetParam().send(requestTo(&provider)); }
  CMPIStatus send(const decltype(ScriptedProvider::act)& act) {
    provider.act = act;
    return send();
  }

  /// Sends to a provider that throws the given object.
  template <class Thrown>
  CMPIStatus sendToThrower(const Thrown& thrown) {
    return send([&](const CmpiContext&, CmpiResult&, const CmpiObjectPath&) -> CmpiStatus {
      throw thrown;
    });
  }
  static std::string messageOf(const CMPIStatus& status) {
    return CmpiString(status.msg).charPtr();
  }

  cimom::RequestAnswers answers;
  CMPIContext* context = request.newContext("root/cimv2", 0);
  CMPIResult* result = request.newResult(answers);
  CMPIObjectPath* path = request.newPath({"", "root/cimv2", "Thing", {}});
  const char* properties[3] = {"Name", "Note", nullptr};
  CmpiInstance instance{thingPath()};
  ScriptedProvider provider{CmpiBroker(watched.record()), CmpiContext(context)};
};

TEST_P(DriverTest, HandsEveryArgumentOn) {
  const CMPIStatus status =
      send([&](const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop) {
        EXPECT_EQ(ctx.getHandle(), context);
        EXPECT_EQ(cop.getHandle(), path);
        rslt.returnDone();
        return CmpiStatus(CMPI_RC_OK);
      });
  EXPECT_EQ(status.rc, CMPI_RC_OK);
  EXPECT_EQ(status.msg, nullptr);
  EXPECT_EQ(answers.doneCount, 1U);
  EXPECT_EQ(provider.seen, GetParam().seen);
}

TEST_P(DriverTest, AnswersTheStatusThatTheOperationReturns) {
  const CMPIStatus status = send([](const CmpiContext&, CmpiResult&, const CmpiObjectPath&) {
    return CmpiStatus(CMPI_RC_ERR_ALREADY_EXISTS, "there is one");
  });
  EXPECT_EQ(status.rc, CMPI_RC_ERR_ALREADY_EXISTS);
  EXPECT_EQ(messageOf(status), "there is one");
}

TEST_P(DriverTest, AThrownStatusBecomesItsCodeAndText) {
  const CMPIStatus status = sendToThrower(CmpiStatus(CMPI_RC_ERR_ACCESS_DENIED, "keep out"));
  EXPECT_EQ(status.rc, CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_EQ(messageOf(status), "keep out");
}

TEST_P(DriverTest, AnExceptionWithATextBecomesFailedWithThatText) {
  const CMPIStatus status = sendToThrower(std::out_of_range("beyond the end"));
  EXPECT_EQ(status.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(messageOf(status), "beyond the end");
}

TEST_P(DriverTest, AnythingElseThrownBecomesFailed) {
  EXPECT_EQ(sendToThrower(42).rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(sendToThrower("just characters").rc, CMPI_RC_ERR_FAILED);
}

TEST_P(DriverTest, TheCodeArrivesWhereTheBrokerMakesNoText) {
  watched.failCall("broker.newString", 0, CMPI_RC_ERR_FAILED);
  const CMPIStatus status = sendToThrower(CmpiStatus(CMPI_RC_ERR_NOT_FOUND, "lost"));
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(status.msg, nullptr);
}

TEST_P(DriverTest, TheProvidersBrokerServesTheCall) {
  DecoratedBroker other(inner.record());
  const CurrentBrokerScope around(other.record());
  const CMPIBroker* during = nullptr;
  send([&](const CmpiContext&, CmpiResult&, const CmpiObjectPath&) {
    during = CmpiBroker::currentOrNull();
    return CmpiStatus(CMPI_RC_OK);
  });
  EXPECT_EQ(during, watched.record());
  EXPECT_EQ(CmpiBroker::currentOrNull(), other.record());
  sendToThrower(std::runtime_error("out of the call"));
  EXPECT_EQ(CmpiBroker::currentOrNull(), other.record());
}

TEST_P(DriverTest, TheErrorTextIsMadeByTheProvidersBroker) {
  DecoratedBroker other(inner.record());
  const CurrentBrokerScope around(other.record());
  watched.clear();
  sendToThrower(CmpiStatus(CMPI_RC_ERR_FAILED, "text"));
  EXPECT_EQ(watched.count("broker.newString"), 1U);
  EXPECT_EQ(other.count("broker.newString"), 0U);
}

TEST_P(DriverTest, ACallWithinACallHasItsOwnBroker) {
  DecoratedBroker other(inner.record());
  ScriptedProvider nested(CmpiBroker(other.record()), CmpiContext(context));
  nested.act = [](const CmpiContext&, CmpiResult&, const CmpiObjectPath&) {
    CmpiObjectPath("root/cimv2", "Thing");
    return CmpiStatus(CMPI_RC_OK);
  };
  watched.clear();
  send([&](const CmpiContext&, CmpiResult&, const CmpiObjectPath&) {
    GetParam().send(requestTo(&nested));
    CmpiObjectPath("root/cimv2", "Part");
    return CmpiStatus(CMPI_RC_OK);
  });
  EXPECT_THAT(other.callTexts("broker.newObjectPath"),
              testing::ElementsAre("broker.newObjectPath(root/cimv2, Thing)"));
  EXPECT_THAT(watched.callTexts("broker.newObjectPath"),
              testing::ElementsAre("broker.newObjectPath(root/cimv2, Part)"));
}

/// The binding keeps what it found of a provider, and uses the place for the next one.
TEST_P(DriverTest, AProviderAfterOneThatWentIsAskedItself) {
  auto gone =
      std::make_unique<ScriptedProvider>(CmpiBroker(watched.record()), CmpiContext(context));
  GetParam().send(requestTo(gone.get()));
  gone.reset();
  ScriptedProvider next(CmpiBroker(watched.record()), CmpiContext(context));
  EXPECT_EQ(GetParam().send(requestTo(&next)).rc, CMPI_RC_OK);
  EXPECT_NE(next.seen, "");
}

TEST_P(DriverTest, WhatAClassDoesNotOverrideIsNotSupported) {
  PlainInstances instances(CmpiBroker(watched.record()), CmpiContext(context));
  PlainAssociations associations(CmpiBroker(watched.record()), CmpiContext(context));
  // One of them lacks the interface, the other inherits the default.
  EXPECT_EQ(GetParam().send(requestTo(&instances)).rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(GetParam().send(requestTo(&associations)).rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(answers.doneCount, 0U);
}

TEST_P(DriverTest, ARecordWithoutAProviderFails) {
  EXPECT_EQ(GetParam().send(requestTo(nullptr)).rc, CMPI_RC_ERR_FAILED);
}

/// What an object manager leaves out of a request, or gives without functions, is met where it is
/// used.
TEST_P(DriverTest, NothingMissingEndsTheProcess) {
  const auto useAll = [](const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop) {
    rslt.returnData(cop);
    rslt.returnDone();
    for (const auto& use : std::vector<std::function<void()>>{
             [&] { cop.getKey("Name"); }, [&] { cop.getKeyCount(); }, [&] { cop.getClassName(); },
             [&] { cop.toString(); }, [&] { cop.classPathIsA("Thing"); },
             [&] { CmpiObjectPath(cop).setKey("Name", CmpiData("x")); },
             [&] { static_cast<void>(cop == thingPath()); }, [&] { CmpiInstance made(cop); },
             [&] { CmpiBroker::current(); },
             [&] {
               const CmpiBroker& broker = CmpiBroker(CmpiBroker::currentOrNull());
               broker.enumInstanceNames(ctx, cop);
             }}) {
      statusThrownBy(use);
    }
    cop.getKey("Name");
    return CmpiStatus(CMPI_RC_OK);
  };
  provider.act = useAll;
  const CMPIObjectPathFT emptyTable{};
  const CMPIObjectPath withoutTable{nullptr, nullptr};
  const CMPIObjectPath withoutFunctions{nullptr, &emptyTable};
  for (const CMPIObjectPath* lacking :
       {static_cast<const CMPIObjectPath*>(nullptr), &withoutTable, &withoutFunctions}) {
    CmpiBaseMI* target = &provider;
    const CMPIStatus status =
        GetParam().send({target, nullptr, nullptr, lacking, nullptr, nullptr});
    EXPECT_EQ(status.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(messageOf(status), "getKey cannot be called: the object or the function is missing");
  }
}

TEST_P(DriverTest, ABrokerWithoutTablesFailsAndHasNoTexts) {
  const CMPIBroker empty{};
  const CMPIBrokerFT noFunctions{};
  const CMPIBrokerEncFT noMakers{};
  CMPIBroker withoutFunctions{};
  withoutFunctions.bft = &noFunctions;
  withoutFunctions.eft = &noMakers;
  for (const CMPIBroker* broker : {static_cast<const CMPIBroker*>(nullptr), &empty,
                                   static_cast<const CMPIBroker*>(&withoutFunctions)}) {
    ScriptedProvider other{CmpiBroker(broker), CmpiContext(context)};
    const auto sendDoing = [&](const std::function<void(const CmpiContext&)>& use) {
      other.act = [&](const CmpiContext& ctx, CmpiResult&, const CmpiObjectPath&) {
        use(ctx);
        return CmpiStatus(CMPI_RC_OK);
      };
      return GetParam().send(requestTo(&other)).rc;
    };
    const CmpiObjectPath known(path);
    for (const auto& use : std::vector<std::function<void(const CmpiContext&)>>{
             [](const CmpiContext&) { CmpiObjectPath("root/cimv2", "Thing"); },
             [](const CmpiContext&) { CmpiArray array(1, CMPI_uint16); },
             [&](const CmpiContext&) { CmpiInstance made(known); },
             [&](const CmpiContext&) { known.classPathIsA("Thing"); },
             [&](const CmpiContext&) { instance.CmpiObject::toString(); },
             [&](const CmpiContext& ctx) { other.getBroker().enumInstances(ctx, known, nullptr); },
             [&](const CmpiContext& ctx) { other.getBroker().enumInstanceNames(ctx, known); }}) {
      EXPECT_EQ(sendDoing(use), CMPI_RC_ERR_FAILED);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, DriverTest, testing::ValuesIn(kOperations),
                         [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST(DriverTableTest, HoldsVersionsNameAndEveryEntryPoint) {
  EXPECT_EQ(kInstanceTable.ftVersion, 200);
  EXPECT_EQ(kInstanceTable.miVersion, 200);
  EXPECT_STREQ(kInstanceTable.miName, "instanceThing");
  EXPECT_NE(kInstanceTable.cleanup, nullptr);
  EXPECT_EQ(kAssociationTable.ftVersion, 200);
  EXPECT_EQ(kAssociationTable.miVersion, 200);
  EXPECT_STREQ(kAssociationTable.miName, "associationThing");
  EXPECT_NE(kAssociationTable.cleanup, nullptr);
}

TEST(DriverTableTest, ANullRecordFails) {
  EXPECT_EQ(kInstanceTable.getInstance(nullptr, nullptr, nullptr, nullptr, nullptr).rc,
            CMPI_RC_ERR_FAILED);
  EXPECT_EQ(
      kAssociationTable.referenceNames(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr).rc,
      CMPI_RC_ERR_FAILED);
}

}  // namespace
}  // namespace zelInt
