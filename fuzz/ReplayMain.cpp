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

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int argument = 1; argument < argc; ++argument) {
        if (!std::filesystem::is_directory(argv[argument])) {
            files.emplace_back(argv[argument]);
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[argument])) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
    }
    for (const std::filesystem::path& file : files) {
        std::ifstream in;
        in.exceptions(std::ios::failbit);  // an unreadable file ends the replay with a failure
        in.open(file, std::ios::binary);
        const std::vector<char> bytes(std::istreambuf_iterator<char>(in), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("replayed %zu inputs\n", files.size());
}
