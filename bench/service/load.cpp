// Prints how many seconds loading a library takes: load LIBRARY. Linked with nothing that a component loads.

#include <dlfcn.h>

#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const auto start = std::chrono::steady_clock::now();
  if (!dlopen(argv[1], RTLD_NOW)) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  std::printf("%.9f\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return 0;
}
