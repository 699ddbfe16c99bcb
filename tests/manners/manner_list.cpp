#include "manner_list.h"

namespace manners {

using test_support::FilterManner;
using test_support::Manners;

void PrintTo(const NamedManners& named, std::ostream* out) {
  *out << named.name;
}

std::vector<NamedManners> harmlessManners() {
  return {{"NewInstanceCopiesNoKeys", {.newInstanceCopiesKeys = false}},
          {"AMissingKeyIsAState", {.missingKeyIsAnError = false}},
          {"NoDoneIsTaken", {.mostDonesPerResult = 0}},
          {"OneDoneIsTaken", {.mostDonesPerResult = 1}},
          {"NoEmptyDoneIsTaken", {.takesEmptyDone = false}},
          {"TheFilterKeepsKeys", {.filter = FilterManner::kKeepKeys}},
          {"ThereIsNoMemoryTable", {.hasMemoryTable = false}},
          {"ThereIsNoOperatingSystemTable", {.hasOperatingSystemTable = false}},
          {"ThereAreNoQualifierFunctions", {.hasQualifierFunctions = false}},
          {"GoodDataIsMarkedNull", {.marksDataNull = true}},
          {"PathTextHasFourKilobytes", {.pathTextBytes = 4096}},
          {"AllOfThemMeet",
           {.newInstanceCopiesKeys = false,
            .missingKeyIsAnError = false,
            .mostDonesPerResult = 1,
            .takesEmptyDone = false,
            .hasMemoryTable = false,
            .hasOperatingSystemTable = false,
            .hasQualifierFunctions = false,
            .marksDataNull = true,
            .pathTextBytes = 4096}}};
}

}  // namespace manners
