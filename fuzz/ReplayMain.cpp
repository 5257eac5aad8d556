// Runs a fuzz target over saved inputs without libFuzzer: every file named on the command line,
// and every file inside a directory named there. CTest uses it to replay the seed corpora and
// the inputs that once found a defect, on every build and with any compiler.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

int replayFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        return 1;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    int failures = 0;
    int replayed = 0;
    for (int argument = 1; argument < argc; ++argument) {
        const std::filesystem::path path(argv[argument]);
        if (std::filesystem::is_directory(path)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
                if (entry.is_regular_file()) {
                    failures += replayFile(entry.path());
                    ++replayed;
                }
            }
        } else {
            failures += replayFile(path);
            ++replayed;
        }
    }
    std::printf("replayed %d inputs, %d unreadable\n", replayed, failures);
    return failures == 0 ? 0 : 1;
}
