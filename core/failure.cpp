#include "core/failure.h"

#include <new>

namespace tw::core {

void failOverflow() {
    throw Failure(kErrOverflow, "Overflow");
}
void failDivisionByZero() {
    throw Failure(kErrDivisionByZero, "Division by zero");
}
void failTypeMismatch() {
    throw Failure(kErrTypeMismatch, "Type mismatch");
}
void failSubscript() {
    throw Failure(kErrSubscript, "Subscript out of range");
}

FailureInfo describeFailure(const std::exception& e) {
    if (const auto* f = dynamic_cast<const Failure*>(&e)) {
        return {f->number(), f->description(), f->source()};
    }
    if (dynamic_cast<const std::bad_alloc*>(&e)) {
        return {kErrOutOfMemory, "Out of memory", kFailureSource};
    }
    return {51, e.what(), kFailureSource};
}

}  // namespace tw::core
