// The one kind of error the tool reports: a complete, single-line message naming the file, the
// path and the reason. main() prints it after "orvconf: " and exits with its status: 2 for an
// error, 1 when a command found nothing to show (get of a missing setting).
#ifndef ORVCONF_FAILURE_H
#define ORVCONF_FAILURE_H

#include <stdexcept>
#include <string>

namespace orvconf {

class Failure : public std::runtime_error {
  public:
    explicit Failure(const std::string& message, int status = 2)
        : std::runtime_error(message), d_status(status) {}

    int status() const { return d_status; }

  private:
    int d_status;
};

}  // namespace orvconf

#endif
