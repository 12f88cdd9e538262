// The floor as a process of its own: maps a file and copies it once through 8 KiB.
//
//   qo_copy_floor FILE
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: qo_copy_floor FILE\n", stderr);
    return 2;
  }
  const int descriptor = open(argv[1], O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (descriptor < 0 || fstat(descriptor, &status) != 0) {
    std::perror(argv[1]);
    return 2;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  void* const mapping = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
  if (mapping == MAP_FAILED) {
    std::perror(argv[1]);
    return 2;
  }
  static char buffer[8192];
  for (std::size_t at = 0; at < size; at += sizeof(buffer)) {
    std::memcpy(buffer, static_cast<const char*>(mapping) + at,
                std::min(sizeof(buffer), size - at));
    asm volatile("" : : "r"(buffer) : "memory");
  }
  return 0;
}
