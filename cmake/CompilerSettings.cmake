# Language level, warnings and link rules shared by every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# One place for programs and one for libraries, so that a build tree runs as it is.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

find_package(Threads REQUIRED)

add_library(pciprovider_settings INTERFACE)
target_compile_options(pciprovider_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Wold-style-cast -Woverloaded-virtual -Wcast-align -Wunused -Wnull-dereference
  -Wdouble-promotion -Wformat=2 -Wimplicit-fallthrough -Wmissing-declarations)
if(PCIPROVIDER_WERROR)
  target_compile_options(pciprovider_settings INTERFACE -Werror)
endif()
if(PCIPROVIDER_SANITIZE)
  add_compile_options(-fsanitize=${PCIPROVIDER_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
                      -g1)  # enough for the lines of a stack, and quick to write
  add_link_options(-fsanitize=${PCIPROVIDER_SANITIZE})
  # The thread sanitizer does not know fences. Asio's order what its mutexes order already.
  if(PCIPROVIDER_SANITIZE MATCHES thread)
    add_compile_definitions(BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
  # GCC's flow analysis reports paths that only the instrumentation adds.
  target_compile_options(pciprovider_settings INTERFACE
                         -Wno-null-dereference $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

# What Debian builds its packages with, and bind-now: `dpkg-buildflags` with hardening=+bindnow.
# Code for debuggers and sanitizers goes without the compiler's part.
if(NOT PCIPROVIDER_SANITIZE)
  if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    add_compile_options(-fstack-protector-strong -Wformat -Werror=format-security
                        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  endif()
  add_link_options(-Wl,-z,relro -Wl,-z,now)
endif()

# Every library names all that it needs: an object manager that opens it must not meet a
# missing symbol at run time. clang's sanitizer runtimes live in the program alone.
if(NOT (PCIPROVIDER_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang"))
  set(PCIPROVIDER_LIBRARY_LINK_OPTIONS -Wl,--no-undefined)
endif()
