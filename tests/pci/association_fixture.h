#pragma once

#include "machine_requests.h"
#include "scripted_machine.h"

#include <array>
#include <memory>
#include <string>
#include <variant>
#include <vector>

/// What the tests of the five associations share: the names of the classes, the notation of what
/// is expected, and a fixture that sends requests over the scripted machine and compares.
///
/// The notation. All that a provider hands over is one list of texts, in its order (see Outcome
/// and briefOf):
///   "Zelmar_PCIPort:D-ep"                    the path of an object, by its id or name
///   "[Zelmar_PCIPort:D-ep]"                  an instance with that path
///   "Class(Zelmar_PCIDevice:D,Zelmar_PCIPort:D-ep)"    the path of a pair, its two ends in order
///   "[Class(...)]"                           the instance of a pair
///   "done"                                   the end of the result
/// The letters are the functions of the scripted machine. Tests write the pairs of one association
/// as ends, "first,second", and `pairs` puts the class around them; `bracketed` makes instances of
/// paths, `each` puts one text before each name, and `+` joins lists. So the one pair of device D,
/// asked for by `references`, is
///   bracketed(pairs(kControlledBy, {"Zelmar_PCIDevice:D,Zelmar_PCIPort:D-ep"})) + kDone
/// where kDone ends the result once. Some operations end it twice, which clients see: kDoneTwice.
namespace scripted {

using Names = std::vector<std::string>;

inline constexpr char kSystemDevice[] = "Zelmar_PCISystemDevice";
inline constexpr char kDeviceConnection[] = "Zelmar_PCIDeviceConnection";
inline constexpr char kControlledBy[] = "Zelmar_PCIControlledBy";
inline constexpr char kHostedCollection[] = "Zelmar_PCIHostedCollection";
inline constexpr char kMemberOfCollection[] = "Zelmar_PCIMemberOfCollection";

inline constexpr std::array<const char*, 5> kAssociations{
    kSystemDevice, kDeviceConnection, kControlledBy, kHostedCollection, kMemberOfCollection};

/// The machine's host system in the notation.
inline constexpr char kSystemBrief[] = "OMC_UnitaryComputerSystem:hosta01";

inline const Names kDone{"done"};
inline const Names kDoneTwice{"done", "done"};

/// Instances with these paths.
inline Names bracketed(const Names& paths) {
  return each("[", paths, "]");
}

/// Paths of one association's pairs with these ends.
inline Names pairs(const std::string& className, const Names& ends) {
  return each(className + "(", ends, ")");
}

/// The end of a pair in that role.
inline const cimom::ObjectPath& endOf(const cimom::ObjectPath& pair, const char* role) {
  return *std::get<std::shared_ptr<const cimom::ObjectPath>>(pair.findKey(role)->elements.at(0));
}

/// Requests to an association by its class name, and comparisons of what comes back.
class AssociationRequests : public RequestTest {
 protected:
  using ObjectPath = cimom::ObjectPath;
  using Operation = requests::Operation;
  using Outcome = requests::Outcome;

  Outcome ask(const char* className, Operation operation, const ObjectPath& source,
              const cimom::AssociationFilter& filter = {},
              const cimom::PropertyList& properties = std::nullopt) {
    return send({operation, className, source, filter, properties});
  }
  Outcome associators(const char* className, const ObjectPath& source) {
    return ask(className, Operation::kAssociators, source);
  }
  Outcome associatorNames(const char* className, const ObjectPath& source) {
    return ask(className, Operation::kAssociatorNames, source);
  }
  Outcome references(const char* className, const ObjectPath& source) {
    return ask(className, Operation::kReferences, source);
  }
  Outcome referenceNames(const char* className, const ObjectPath& source) {
    return ask(className, Operation::kReferenceNames, source);
  }
  Outcome enumerate(const char* className) {
    return ask(className, Operation::kEnumInstances, requests::pathOf(className));
  }
  Outcome enumerateNames(const char* className) {
    return ask(className, Operation::kEnumInstanceNames, requests::pathOf(className));
  }
  Outcome get(const ObjectPath& path) {
    return send({Operation::kGetInstance, path.className, path});
  }

  /// Both listings return the pairs with these ends, then end once.
  void expectListings(const char* className, const Names& ends) {
    EXPECT_THAT(enumerate(className).events,
                testing::ElementsAreArray(bracketed(pairs(className, ends)) + kDone));
    EXPECT_THAT(enumerateNames(className).events,
                testing::ElementsAreArray(pairs(className, ends) + kDone));
  }

  /// Both reference operations return the pairs with these ends, then `end`.
  void expectReferences(const char* className, const ObjectPath& source, const Names& ends,
                        const Names& end) {
    EXPECT_THAT(references(className, source).events,
                testing::ElementsAreArray(bracketed(pairs(className, ends)) + end))
        << requests::briefOf(source);
    EXPECT_THAT(referenceNames(className, source).events,
                testing::ElementsAreArray(pairs(className, ends) + end))
        << requests::briefOf(source);
  }

  /// The associated objects, then `end`: as instances ...
  void expectAssociators(const char* className, const ObjectPath& source, const Names& objects,
                         const Names& end) {
    EXPECT_THAT(associators(className, source).events,
                testing::ElementsAreArray(bracketed(objects) + end))
        << requests::briefOf(source);
  }
  /// ... and as paths.
  void expectAssociatorNames(const char* className, const ObjectPath& source, const Names& objects,
                             const Names& end) {
    EXPECT_THAT(associatorNames(className, source).events, testing::ElementsAreArray(objects + end))
        << requests::briefOf(source);
  }

  /// Has the snapshot made and forgets what was logged for it.
  void startLog() {
    enumerateNames("Zelmar_PCIDevice");
    logLines().clear();
  }
  /// The lines of one priority since then.
  static Names logTexts(int priority) {
    Names texts;
    for (const LogLine& line : logLines()) {
      if (line.priority == priority) texts.push_back(line.text);
    }
    return texts;
  }
};

}  // namespace scripted
