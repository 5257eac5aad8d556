// The one kind of error the tool reports: a complete, single-line message naming the file, the
// path and the reason. main() prints it after "orvconf: " and exits with status 2.
#ifndef ORVCONF_FAILURE_H
#define ORVCONF_FAILURE_H

#include <stdexcept>
#include <string>

namespace orvconf {

class Failure : public std::runtime_error {
  public:
    explicit Failure(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace orvconf

#endif
