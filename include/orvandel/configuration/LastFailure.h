// Why the library's last operation on this thread failed.
//
// The library throws bare values (IConfigurationSet::ConfigurationSetException,
// ISetting::SettingException, ...) and standard exceptions; where it detects a failure it also
// records, for the calling thread, what happened: the file and the system's reason, the line and
// column of an XML document or the byte offset of a binary stream, the setting's path and types.
//
//     try {
//         set->load("settings.xml");
//     } catch (IConfigurationSet::ConfigurationSetException) {
//         std::cerr << lastFailure() << '\n';  // settings.xml:3:5: ...
//     }
#ifndef ORVANDEL_CONFIGURATION_LASTFAILURE_H
#define ORVANDEL_CONFIGURATION_LASTFAILURE_H

#include <string>

#include <orvandel/Export.h>

namespace com {
namespace orvandel {
namespace configuration {

// Describes the most recent failure the library threw on the calling thread, as one line:
// "FILE:LINE:COLUMN: reason" for a document read from a file, "line L, column C: reason" or
// "byte N: reason" for a form in memory, otherwise the reason alone ("no setting at path
// 'a/b'", "cannot open 'x.cfg': No such file or directory"). Empty when the library has thrown
// nothing on this thread. A successful call leaves it as it was, so read it right after the
// failure. Throws std::bad_alloc only.
ORVANDEL_API std::string lastFailure();

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
