#pragma once

#include <cstddef>

namespace pcicim {

/// How many lines of error priority the process has logged so far, whichever library wrote them.
/// Any thread may ask.
std::size_t errorsLogged();

}  // namespace pcicim
