// The persistence frame every set type inherits: the default (refusing) serialize and
// unserialize, and load and save, which move a whole file to or from memory and leave the format
// to the set's own serialize and unserialize.
#include <orvandel/configuration/internal/ConfigurationSet.h>

#include <memory>

#include <orvandel/configuration/internal/FailureDetail.h>
#include <orvandel/configuration/internal/WholeFile.h>

namespace com {
namespace orvandel {
namespace configuration {

void ConfigurationSet::refuse(const char* operation) const {
    recordFailure("a set of type '", d_type, "' cannot ", operation);
    throw unsupportedException;
}

void ConfigurationSet::unserialize(const unsigned char*, size_t) {
    refuse("unserialize");
}

void ConfigurationSet::serialize(unsigned char*, size_t, size_t* reqLength) {
    if (reqLength != nullptr) {
        *reqLength = 0;
    }
    refuse("serialize");
}

// The file is read whole, then handed to the set's own reader; a file that cannot be read
// throws std::ios_base::failure before the set is touched.
void ConfigurationSet::load(const std::string& filePath) {
    if (!d_capLoadSave) {
        refuse("load");
    }
    const FileContents contents = readWholeFile(filePath);
    try {
        unserialize(contents.bytes.get(), contents.length);
    } catch (...) {
        attributeFailureToFile(filePath);
        throw;
    }
}

// The form is produced whole before the file is touched, so a set that cannot be serialised
// never creates, truncates or otherwise changes the file; the file is then replaced, never
// truncated in place where it can be helped, so a failed or interrupted save keeps the old one.
void ConfigurationSet::save(const std::string& filePath) {
    if (!d_capLoadSave) {
        refuse("save");
    }
    FormBuffer serialized;
    try {
        serialized = serializedForm();
    } catch (...) {
        attributeFailureToFile(filePath);
        throw;
    }
    replaceWholeFile(filePath, serialized.data(), serialized.size());
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
