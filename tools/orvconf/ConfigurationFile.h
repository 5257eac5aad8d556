// Configuration files on disk: recognising their form when reading, and writing them whole and
// verified, so that a file the tool writes always reads back to the settings it was given.
#ifndef ORVCONF_CONFIGURATIONFILE_H
#define ORVCONF_CONFIGURATIONFILE_H

#include <optional>
#include <string>
#include <vector>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>

namespace orvconf {

enum class Format { binary, xml };

// The format a name given to --format or --to stands for, or nothing.
std::optional<Format> formatFromName(const std::string& name);

// The form a new file gets when nothing else decides it: XML for a name ending in ".xml" (in any
// case), binary otherwise.
Format formatForNewFile(const std::string& file);

struct ConfigurationFile {
    com::orvandel::AutoRefCounted<com::orvandel::configuration::IConfigurationSet> set;
    Format format;
    std::vector<unsigned char> bytes;  // the contents read; empty for a new file
};

// Reads file ("-": standard input). With a forced format only that form is tried; otherwise a file
// that reads as a binary stream is binary, and anything else must be an XML document. Throws
// Failure naming the file and, when no form fits, the reason for each form tried.
ConfigurationFile readConfigurationFile(const std::string& file, std::optional<Format> forced);

// As readConfigurationFile, for contents already read.
ConfigurationFile readConfigurationBytes(const std::string& file,
                                         const std::vector<unsigned char>& bytes,
                                         std::optional<Format> forced);

// bytes read as one form into a new set; an empty handle, and the reason in reason, when they
// do not read.
com::orvandel::AutoRefCounted<com::orvandel::configuration::IConfigurationSet> readForm(
    const std::string& file, const std::vector<unsigned char>& bytes, Format format,
    std::string& reason);

// Why the setting at path of set would not come back with the same path and value from a file
// of format, or nothing when it would.
std::optional<std::string> faithfulnessProblem(
    const std::string& file, const com::orvandel::configuration::IConfigurationSet& set,
    const std::string& path, Format format);

// As readConfigurationFile, but a missing file gives an empty set in the forced format, or in
// the one its name suggests.
ConfigurationFile readOrCreateConfigurationFile(const std::string& file,
                                                std::optional<Format> forced);

// Writes every setting of set to file in format, crash-safely (see replaceFile; force lets a
// file its mode protects be replaced). The form is serialised in memory and read back first;
// when it would not give back exactly the same paths and values (the XML form cannot hold every
// path or value), nothing is written and Failure names the first path that does not survive.
void writeConfigurationFile(const std::string& file,
                            const com::orvandel::configuration::IConfigurationSet& set,
                            Format format, bool force);

// Writes file back after the settings at paths were set or removed in edited.set. An existing
// XML document is edited in place (see XmlEdit.h) when the edited bytes read back to exactly
// edited.set; otherwise, and for the binary form, the file is written whole as by
// writeConfigurationFile.
void writeEditedFile(const std::string& file, const ConfigurationFile& edited,
                     const std::vector<std::string>& paths, bool force);

}  // namespace orvconf

#endif
