#include <orvandel/configuration/internal/FailureDetail.h>

#include <charconv>

#include <orvandel/configuration/internal/ThreadState.h>

namespace com {
namespace orvandel {
namespace configuration {

void appendPart(std::string& reason, std::string_view text) {
    reason.append(text);
}

void appendPart(std::string& reason, const Excerpt& excerpt) {
    if (excerpt.text.size() <= excerpt.limit) {
        reason.append(excerpt.text);
        return;
    }
    reason.append(excerpt.text.substr(0, excerpt.limit));
    reason.append("...");
}

void appendPart(std::string& reason, uint64_t number) {
    char digits[24];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, number);
    reason.append(digits, end.ptr);
}

void storeFailure(FailurePlace place, std::string&& reason) noexcept {
    if (ThreadState* state = threadState()) {
        state->failure.file.clear();
        state->failure.place = place;
        state->failure.reason = std::move(reason);
    }
}

void storeOutOfMemoryFailure() noexcept {
    storeFailure(FailurePlace(), std::string());
    if (ThreadState* state = existingThreadState()) {
        // Short enough for the string's own storage, so assigning it takes no memory.
        state->failure.reason = "out of memory";
    }
}

void prependToFailure(std::string&& context) noexcept {
    ThreadState* state = existingThreadState();
    if (state == nullptr) {
        return;
    }
    try {
        state->failure.reason.insert(0, context);
    } catch (...) {
        // The reason as it stands is still true.
    }
}

void attributeFailureToFile(const std::string& file) noexcept {
    ThreadState* state = existingThreadState();
    if (state == nullptr) {
        return;
    }
    try {
        state->failure.file = file;
    } catch (...) {
        state->failure.file.clear();
    }
}

FailureDetail lastFailureDetail() {
    if (const ThreadState* state = existingThreadState()) {
        return state->failure;
    }
    FailureDetail lost;
    if (threadStateLost()) {
        lost.reason = "out of memory";
    }
    return lost;
}

std::string describe(const FailureDetail& detail) {
    std::string text = detail.file;
    const FailurePlace& place = detail.place;
    if (place.kind == FailurePlace::lineAndColumn) {
        if (text.empty()) {
            text =
                "line " + std::to_string(place.first) + ", column " + std::to_string(place.second);
        } else {
            text += ":" + std::to_string(place.first) + ":" + std::to_string(place.second);
        }
    } else if (place.kind == FailurePlace::byteOffset) {
        text += (text.empty() ? "byte " : ": byte ") + std::to_string(place.first);
    }
    return text.empty() ? detail.reason : text + ": " + detail.reason;
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
