#pragma once

#include <string>

#include "qor/Referenced.h"

namespace qor {

// Something that acts on the bodies of a simulation, such as a joint. Here it carries the name by
// which applications find it and report on it.
class Interaction : public Referenced {
  public:
    // Returns the name; empty unless one was given.
    const std::string& getName() const noexcept;

    // Replaces the name. Names need not be unique; the simulation never looks them up.
    void setName(const std::string& name);

  protected:
    // Creates an interaction without a name.
    Interaction();

    // Creates an interaction with the given name.
    explicit Interaction(std::string name);

    ~Interaction() override;

  private:
    std::string m_name;
};

}  // namespace qor
