#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiData.h>
#include <zelcppc/CmpiObject.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// A CIM instance.
///
///     CmpiInstance fan(path);  // has the keys of `path`
///     fan.setProperty("Speed", CmpiData(speed));
///     fan.setPropertyFilter(properties, nullptr);  // last, when all properties are set
class ZELCPPC_EXPORT CmpiInstance : public CmpiObject {
 public:
  /// A new instance that carries the path's keys as its properties, under every object manager:
  /// some copy them, some do not. Throws CmpiStatus when the broker refuses.
  explicit CmpiInstance(const CmpiObjectPath& path);
  explicit CmpiInstance(const CMPIInstance* instance) : CmpiObject(instance) {}

  /// Throws CmpiStatus when the broker refuses the property.
  ZELCPPC_INLINE void setProperty(const char* name, const CmpiData& value) {
    tell<&CMPIInstanceFT::setProperty>("setProperty", getHandle(), name, value.valuePointer(),
                                       value.type());
  }
  /// Throws CmpiStatus when the property cannot be read.
  CmpiData getProperty(const char* name) const;
  CmpiObjectPath getObjectPath() const;

  /// Narrows the instance to the listed properties and the keys. Both lists end with a null
  /// pointer; a null property list keeps all. Without a key list the path's own key names are
  /// handed on, because some object managers otherwise drop the keys from the answer. Throws
  /// CmpiStatus when the broker refuses.
  void setPropertyFilter(const char** properties, const char** keys);

  const CMPIInstance* getHandle() const noexcept {
    return static_cast<const CMPIInstance*>(object());
  }
};

}  // namespace zelInt
