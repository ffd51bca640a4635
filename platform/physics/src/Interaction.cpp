#include "qor/Interaction.h"

#include <string>
#include <utility>

namespace qor {

Interaction::Interaction() = default;

Interaction::Interaction(std::string name) : m_name(std::move(name)) {}

Interaction::~Interaction() = default;

const std::string& Interaction::getName() const noexcept {
    return m_name;
}

void Interaction::setName(const std::string& name) {
    m_name = name;
}

}  // namespace qor
