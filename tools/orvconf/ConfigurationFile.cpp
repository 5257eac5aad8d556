#include "ConfigurationFile.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ios>
#include <iostream>
#include <new>
#include <vector>

#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/LastFailure.h>

#include "Failure.h"
#include "FileIO.h"
#include "SetContents.h"
#include "ValueFormat.h"
#include "XmlEdit.h"

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

// A new, empty set of the format; file is named when the library cannot make one.
AutoRefCounted<IConfigurationSet> newSet(Format format, const std::string& file) {
    const std::string type =
        format == Format::xml ? "XMLConfigurationSet" : "BinaryConfigurationSet";
    try {
        return getConfigurationSetFactory()->createConfigurationSet(type);
    } catch (
        com::orvandel::configuration::IConfigurationSetFactory::ConfigurationSetFactoryException) {
        throw Failure(file + ": the configuration library provides no " + type);
    }
}

std::string formDescription(Format format) {
    return format == Format::xml ? "an XML configuration document"
                                 : "a binary configuration stream";
}

// An XML document by its name (".xml") or its first byte that is not white space ("<").
bool looksLikeXml(const std::string& file, const std::vector<unsigned char>& bytes) {
    if (formatForNewFile(file) == Format::xml) {
        return true;
    }
    for (const unsigned char byte : bytes) {
        if (!std::isspace(byte)) {
            return byte == '<';
        }
    }
    return false;
}

// The library's detail of a failed read of the form, placed in the file: "line L, column C:
// reason" becomes "FILE:L:C: not FORM: reason" (the GNU style editors jump to), anything else
// "FILE: not FORM: reason".
std::string located(const std::string& file, Format format, const std::string& detail) {
    const std::string form = "not " + formDescription(format) + ": ";
    unsigned long line = 0;
    unsigned long column = 0;
    int consumed = 0;
    if (std::sscanf(detail.c_str(), "line %lu, column %lu: %n", &line, &column, &consumed) == 2 &&
        consumed > 0) {
        return file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + form +
               detail.substr(static_cast<size_t>(consumed));
    }
    return file + ": " + form + detail;
}

// The reason the current exception gives for a form that cannot be read or written.
// The library's own account of its last failure on this thread, when it has one.
std::string libraryDetail() {
    return com::orvandel::configuration::lastFailure();
}

std::string reasonOfCurrentException() {
    try {
        throw;
    } catch (const Failure&) {
        return "the configuration library provides no set of this form";
    } catch (...) {
        const std::string detail = libraryDetail();
        if (!detail.empty()) {
            return detail;
        }
    }
    try {
        throw;
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        switch (exception) {
            case IConfigurationSet::serializationFailureException:
                return "malformed or truncated";
            case IConfigurationSet::unsupportedException:
                return "the set type cannot serialise";
            default:
                return "configuration set error " + std::to_string(exception);
        }
    } catch (const std::ios_base::failure&) {
        return "a value cannot be read as its type";
    } catch (const std::bad_alloc&) {
        return "a length is too large for memory";
    } catch (...) {
        return "refused by the configuration library";
    }
}

// Reads bytes as one form into a new set; on failure returns an empty handle and the reason.
AutoRefCounted<IConfigurationSet> tryRead(const std::string& file,
                                          const std::vector<unsigned char>& bytes, Format format,
                                          std::string& reason) {
    try {
        AutoRefCounted<IConfigurationSet> set = newSet(format, file);
        set->unserialize(bytes.data(), bytes.size());
        return set;
    } catch (...) {
        reason = reasonOfCurrentException();
        return AutoRefCounted<IConfigurationSet>();
    }
}

ConfigurationFile readBytesAs(const std::string& file, const std::vector<unsigned char>& bytes,
                              std::optional<Format> forced) {
    if (forced) {
        std::string reason;
        AutoRefCounted<IConfigurationSet> set = tryRead(file, bytes, *forced, reason);
        if (!set) {
            throw Failure(located(file, *forced, reason));
        }
        return {set, *forced, bytes};
    }
    // The form the file looks like is tried first, and only its reason is told when neither
    // form reads.
    const Format detected = looksLikeXml(file, bytes) ? Format::xml : Format::binary;
    const Format other = detected == Format::xml ? Format::binary : Format::xml;
    std::string reason;
    AutoRefCounted<IConfigurationSet> set = tryRead(file, bytes, detected, reason);
    if (!!set) {
        return {set, detected, bytes};
    }
    std::string otherReason;
    set = tryRead(file, bytes, other, otherReason);
    if (!!set) {
        return {set, other, bytes};
    }
    throw Failure(located(file, detected, reason));
}

// The whole serialised form of set, by the two-call length protocol.
std::vector<unsigned char> serializeWhole(IConfigurationSet& set) {
    size_t length = 0;
    try {
        set.serialize(nullptr, 0, &length);
        return {};
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        if (exception != IConfigurationSet::outBufferTooSmallException) {
            throw;
        }
    }
    std::vector<unsigned char> bytes(length);
    set.serialize(bytes.data(), bytes.size(), &length);
    bytes.resize(length);
    return bytes;
}

// A set of the given format holding the very settings of source: all of them, or only the one
// at onlyPath.
AutoRefCounted<IConfigurationSet> setInFormat(const std::string& file,
                                              const IConfigurationSet& source, Format format,
                                              const std::string* onlyPath) {
    AutoRefCounted<IConfigurationSet> set = newSet(format, file);
    forEachSetting(source, "", [&](const std::string& path, const ISetting&) {
        if (onlyPath == nullptr || path == *onlyPath) {
            set->insertSetting(path, com::orvandel::const_pointer_cast<ISetting>(
                                         source.retrieveLockedSetting(path)));
        }
    });
    return set;
}

// The serialised form of the settings (all, or the one at onlyPath) when it reads back to the
// very same paths and values; otherwise nothing, and reason says what went wrong.
std::optional<std::vector<unsigned char>> faithfulForm(const std::string& file,
                                                       const IConfigurationSet& source,
                                                       Format format, const std::string* onlyPath,
                                                       std::string& reason) {
    AutoRefCounted<IConfigurationSet> set = setInFormat(file, source, format, onlyPath);
    std::vector<unsigned char> bytes;
    try {
        bytes = serializeWhole(*set);
    } catch (...) {
        reason = "cannot be written: " + reasonOfCurrentException();
        return std::nullopt;
    }
    std::string readReason;
    AutoRefCounted<IConfigurationSet> readBack = tryRead(file, bytes, format, readReason);
    if (!readBack) {
        reason = "would not read back: " + readReason;
        return std::nullopt;
    }
    if (!compareSets(*set, *readBack).empty()) {
        reason = "would not read back unchanged";
        return std::nullopt;
    }
    return bytes;
}

std::vector<unsigned char> verifiedForm(const std::string& file, const IConfigurationSet& source,
                                        Format format) {
    std::string reason;
    std::optional<std::vector<unsigned char>> bytes =
        faithfulForm(file, source, format, nullptr, reason);
    if (bytes) {
        return *bytes;
    }
    // Name the first setting to blame, trying each one alone.
    std::string blamed;
    forEachSetting(source, "", [&](const std::string& path, const ISetting&) {
        std::string settingReason;
        if (blamed.empty() && !faithfulForm(file, source, format, &path, settingReason)) {
            blamed = "path '" + formatPath(path) + "': ";
            reason = settingReason;
        }
    });
    throw Failure(file + ": " + blamed + "cannot be stored in " + formDescription(format) + ": " +
                  reason +
                  (format == Format::xml ? " (XML holds non-empty, finite values under paths "
                                           "/name or branch/.../name of XML names)"
                                         : ""));
}

// The setting element in a document the library wrote for one setting.
std::string settingElementIn(const std::vector<unsigned char>& bytes) {
    const std::string document(bytes.begin(), bytes.end());
    const size_t begin = document.find("<setting ");
    const size_t end = document.find("</setting>", begin);
    return begin == std::string::npos || end == std::string::npos
               ? std::string()
               : document.substr(begin, end + 10 - begin);
}

// The document of edited with the settings at paths set or removed in place, when it reads back
// to exactly edited.set.
std::optional<std::vector<unsigned char>> editedDocument(const std::string& file,
                                                         const ConfigurationFile& edited,
                                                         const std::vector<std::string>& paths) {
    std::string document(edited.bytes.begin(), edited.bytes.end());
    for (const std::string& path : paths) {
        if (!findSetting(*edited.set, path)) {
            document = removeXmlSetting(document, path);
            continue;
        }
        std::string reason;
        const std::optional<std::vector<unsigned char>> alone =
            faithfulForm(file, *edited.set, Format::xml, &path, reason);
        const std::string element = alone ? settingElementIn(*alone) : std::string();
        if (element.empty()) {
            return std::nullopt;
        }
        document = setXmlSetting(document, path, element);
    }
    std::vector<unsigned char> bytes(document.begin(), document.end());
    std::string reason;
    const AutoRefCounted<IConfigurationSet> readBack = tryRead(file, bytes, Format::xml, reason);
    if (!readBack || !compareSets(*edited.set, *readBack).empty()) {
        return std::nullopt;
    }
    return bytes;
}

}  // namespace

std::optional<Format> formatFromName(const std::string& name) {
    if (name == "binary") {
        return Format::binary;
    }
    if (name == "xml") {
        return Format::xml;
    }
    return std::nullopt;
}

Format formatForNewFile(const std::string& file) {
    std::string extension = file.size() >= 4 ? file.substr(file.size() - 4) : "";
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension == ".xml" ? Format::xml : Format::binary;
}

ConfigurationFile readConfigurationFile(const std::string& file, std::optional<Format> forced) {
    const std::optional<std::vector<unsigned char>> bytes = readWholeFile(file);
    if (!bytes) {
        throw Failure(file + ": no such file");
    }
    return readBytesAs(file, *bytes, forced);
}

ConfigurationFile readOrCreateConfigurationFile(const std::string& file,
                                                std::optional<Format> forced) {
    const std::optional<std::vector<unsigned char>> bytes = readWholeFile(file);
    if (!bytes) {
        const Format format = forced ? *forced : formatForNewFile(file);
        return {newSet(format, file), format, {}};
    }
    return readBytesAs(file, *bytes, forced);
}

ConfigurationFile readConfigurationBytes(const std::string& file,
                                         const std::vector<unsigned char>& bytes,
                                         std::optional<Format> forced) {
    return readBytesAs(file, bytes, forced);
}

AutoRefCounted<IConfigurationSet> readForm(const std::string& file,
                                           const std::vector<unsigned char>& bytes, Format format,
                                           std::string& reason) {
    return tryRead(file, bytes, format, reason);
}

std::optional<std::string> faithfulnessProblem(const std::string& file,
                                               const IConfigurationSet& set,
                                               const std::string& path, Format format) {
    std::string reason;
    if (faithfulForm(file, set, format, &path, reason)) {
        return std::nullopt;
    }
    return reason;
}

void writeConfigurationFile(const std::string& file, const IConfigurationSet& set, Format format,
                            bool force) {
    replaceFile(file, verifiedForm(file, set, format), force);
}

void writeEditedFile(const std::string& file, const ConfigurationFile& edited,
                     const std::vector<std::string>& paths, bool force) {
    if (edited.format != Format::xml || edited.bytes.empty()) {
        writeConfigurationFile(file, *edited.set, edited.format, force);
        return;
    }
    const std::optional<std::vector<unsigned char>> document = editedDocument(file, edited, paths);
    if (document) {
        replaceFile(file, *document, force);
        return;
    }
    writeConfigurationFile(file, *edited.set, edited.format, force);
    std::cerr << "orvconf: " << file
              << ": note: the edit could not be made in place; the document was written whole\n";
}

}  // namespace orvconf
