// The persistence frame every set type inherits: the default (refusing) serialize and
// unserialize, and load and save, which move a whole file to or from memory and leave the format
// to the set's own serialize and unserialize.
#include <orvandel/configuration/internal/ConfigurationSet.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>

namespace com {
namespace orvandel {
namespace configuration {

void ConfigurationSet::unserialize(const unsigned char*, size_t) {
    throw unsupportedException;
}

void ConfigurationSet::serialize(unsigned char*, size_t, size_t* reqLength) {
    if (reqLength != nullptr) {
        *reqLength = 0;
    }
    throw unsupportedException;
}

// The stream throws std::ios_base::failure for every failed operation (a missing or unreadable
// file, a short read). A directory opens like a file but measures as an absurd length that would
// be allocated before the read fails, so it is refused as a failed stream straight away. The
// buffer and the stream are released on every path by their own destructors, and exceptions
// reach the caller unchanged.
void ConfigurationSet::load(const std::string& filePath) {
    if (!d_capLoadSave) {
        throw unsupportedException;
    }
    std::ifstream file;
    file.exceptions(std::ios_base::failbit);
    file.open(filePath.c_str(), std::ios_base::binary | std::ios_base::in);
    std::error_code ignored;
    if (std::filesystem::is_directory(filePath, ignored)) {
        file.setstate(std::ios_base::failbit);
    }
    file.seekg(0, std::ios_base::end);
    const size_t serializedLength = static_cast<size_t>(file.tellg());
    file.seekg(0, std::ios_base::beg);
    const std::unique_ptr<unsigned char[]> serialized(new unsigned char[serializedLength]);
    file.read(reinterpret_cast<char*>(serialized.get()),
              static_cast<std::streamsize>(serializedLength));
    unserialize(serialized.get(), serializedLength);
    file.close();
}

// The form is produced whole before the file is opened, so a set that cannot be serialised
// never creates, truncates or otherwise touches the file.
void ConfigurationSet::save(const std::string& filePath) {
    if (!d_capLoadSave) {
        throw unsupportedException;
    }
    std::ofstream file;
    file.exceptions(std::ios_base::failbit);
    const FormBuffer serialized = serializedForm();
    const size_t serializedLength = serialized.size();
    file.open(filePath.c_str(), std::ios_base::binary | std::ios_base::out);
    file.write(reinterpret_cast<const char*>(serialized.data()),
               static_cast<std::streamsize>(serializedLength));
    file.close();
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
