#include <orvandel/configuration/LastFailure.h>

#include <orvandel/configuration/internal/FailureDetail.h>

namespace com {
namespace orvandel {
namespace configuration {

std::string lastFailure() {
    return describe(lastFailureDetail());
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
