#include "qor/ElementaryConstraint.h"

#include <limits>
#include <stdexcept>
#include <string>

namespace qor {

ElementaryConstraint::ElementaryConstraint()
    : m_forceRange(-std::numeric_limits<double>::infinity(),
                   std::numeric_limits<double>::infinity()) {}

ElementaryConstraint::~ElementaryConstraint() = default;

void ElementaryConstraint::setEnabled(bool enabled) {
    m_enabled = enabled;
}

bool ElementaryConstraint::getEnable() const noexcept {
    return m_enabled;
}

Range<double> ElementaryConstraint::getForceRange(std::size_t index) const {
    checkIndex(index, "getForceRange");
    return m_forceRange;
}

void ElementaryConstraint::setForceRange(Range<double> range, std::size_t index) {
    checkIndex(index, "setForceRange");
    m_forceRange = range;
}

double ElementaryConstraint::getCurrentForce(std::size_t index) const {
    checkIndex(index, "getCurrentForce");
    return m_currentForce;
}

void ElementaryConstraint::checkIndex(std::size_t index, const char* function) const {
    if (index >= getNumDOF()) {
        throw std::out_of_range(std::string("ElementaryConstraint::") + function +
                                ": degree of freedom " + std::to_string(index) +
                                " does not exist; this controller has only degree of freedom 0");
    }
}

}  // namespace qor
