// Opens a library as object managers open providers, and says why where that fails.
#include <dlfcn.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  if (dlopen(argv[1], RTLD_LAZY | RTLD_GLOBAL) != nullptr) return 0;
  std::fprintf(stderr, "%s\n", dlerror());
  return 1;
}
