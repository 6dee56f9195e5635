// Runs every file of the folders' corpora through its target, without an engine, each target in a process of its own,
// since a process has one firmware. FUZZ_TARGETS comes from the build: X(name) each.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#define X(name) extern "C" int fuzz_##name(const uint8_t *data, size_t size);
FUZZ_TARGETS
#undef X

struct Target {
  const char *name;
  int (*run)(const uint8_t *data, size_t size);
};

#define X(name) {#name, fuzz_##name},
static const Target g_targets[] = {FUZZ_TARGETS};
#undef X

static bool replayAll(const Target &target, const std::filesystem::path &folder) {
  std::set<std::filesystem::path> files(std::filesystem::directory_iterator(folder), {});
  std::printf("%s: %zu inputs\n", target.name, files.size());
  for (const std::filesystem::path &file : files) {
    std::printf("%s\n", file.c_str()); // the last one tells who crashed
    std::fflush(stdout);
    std::ifstream stream(file, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    target.run(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  }
  return !files.empty();
}

int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FOLDER...\n", argv[0]);
    return 2;
  }
  for (const Target &target : g_targets) {
    pid_t child = fork();
    if (child == 0) {
      bool isWhole = std::all_of(argv + 1, argv + argc, [&](const char *folder) {
        return replayAll(target, std::filesystem::path(folder) / target.name);
      });
      std::exit(isWhole ? 0 : 1);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
      return 1;
    }
  }
  return 0;
}
