#pragma once

/// Names that more than one unit puts into paths or tests sources against.
namespace pciprovider {

inline constexpr char kNameSpace[] = "root/cimv2";
inline constexpr char kDeviceClass[] = "Zelmar_PCIDevice";
inline constexpr char kBridgeClass[] = "Zelmar_PCIBridge";
inline constexpr char kSwitchClass[] = "Zelmar_PCIeSwitch";
inline constexpr char kPortClass[] = "Zelmar_PCIPort";
inline constexpr char kPortGroupClass[] = "Zelmar_PCIPortGroup";
inline constexpr char kSystemClass[] = "OMC_UnitaryComputerSystem";
inline constexpr char kDeviceIdKey[] = "DeviceID";

}  // namespace pciprovider
