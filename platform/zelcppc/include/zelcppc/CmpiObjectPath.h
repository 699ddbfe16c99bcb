#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiData.h>
#include <zelcppc/CmpiObject.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// The name of a CIM object: namespace, class and keys.
///
///     CmpiObjectPath fan("root/cimv2", "Acme_Fan");
///     fan.setKey("DeviceID", CmpiData("fan0"));
///     const std::string id = CmpiString(fan.getKey("DeviceID")).charPtr();
class ZELCPPC_EXPORT CmpiObjectPath : public CmpiObject {
 public:
  /// A new path without keys, made by the thread's current broker. Throws CmpiStatus when the
  /// broker cannot make it.
  CmpiObjectPath(const char* nameSpace, const char* className);
  explicit CmpiObjectPath(const CMPIObjectPath* path) : CmpiObject(path) {}

  /// Throws CmpiStatus when the broker refuses the key.
  ZELCPPC_INLINE void setKey(const char* name, const CmpiData& value) {
    tell<&CMPIObjectPathFT::addKey>("addKey", getHandle(), name, value.valuePointer(),
                                    value.type());
  }
  /// Throws CmpiStatus: NOT_FOUND for a key that the path does not have, else the broker's code.
  CmpiData getKey(const char* name) const;

  /// Whether the path's class is `className` or a subclass, as the broker knows them. Throws
  /// CmpiStatus when the broker fails the question.
  bool classPathIsA(const char* className) const;

  /// Paths are equal when class (ignoring case), keys (names ignoring case, in any order) and
  /// key values are. Integers compare by value, of any width. The host does not
  /// count, and the namespace only where both paths name one: clients send references without.
  bool operator==(const CmpiObjectPath& other) const;
  bool operator!=(const CmpiObjectPath& other) const { return !(*this == other); }

  /// Text from the path's own table: it works where no broker serves the thread.
  CmpiString toString() const override;

  CmpiString getNameSpace() const;
  CmpiString getClassName() const;
  ZELCPPC_INLINE CMPICount getKeyCount() const {
    return ask<&CMPIObjectPathFT::getKeyCount>("getKeyCount", getHandle());
  }
  /// The key at `index`, its name in `name`.
  ZELCPPC_INLINE CmpiData getKeyAt(CMPICount index, CMPIString** name) const {
    return CmpiData(ask<&CMPIObjectPathFT::getKeyAt>("getKeyAt", getHandle(), index, name));
  }

  const CMPIObjectPath* getHandle() const noexcept {
    return static_cast<const CMPIObjectPath*>(object());
  }
};

}  // namespace zelInt
