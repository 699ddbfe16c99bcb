# find_package(pciprovider-platform): the targets pciprovider::zelcppc and pciprovider::qarctl.
include(${CMAKE_CURRENT_LIST_DIR}/pciprovider-platform-targets.cmake)
