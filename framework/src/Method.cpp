#include "framework/Method.h"

namespace {

template <typename Type>
bool getParameter(const std::vector<Parameter>& parameters, const std::string& name, Type& value,
                  Parameter::directions direction) {
  for (const Parameter& parameter : parameters) {
    if (parameter.direction != direction || parameter.name != name) continue;
    if (const auto* found = std::get_if<Type>(&parameter.value)) {
      value = *found;
      return true;
    }
  }
  return false;
}

}  // namespace

Method::Method(const std::string& name, methodTypes type) : m_name(name), m_type(type) {}

bool Method::getBoolParameter(const std::string& name, bool& value,
                              Parameter::directions direction) const {
  return getParameter(m_parameters, name, value, direction);
}

bool Method::getIntParameter(const std::string& name, int& value,
                             Parameter::directions direction) const {
  return getParameter(m_parameters, name, value, direction);
}

bool Method::getStringParameter(const std::string& name, std::string& value,
                                Parameter::directions direction) const {
  return getParameter(m_parameters, name, value, direction);
}

void Method::addBoolParameter(const std::string& name, bool value,
                              Parameter::directions direction) {
  m_parameters.push_back({name, direction, value});
}

void Method::addIntParameter(const std::string& name, int value, Parameter::directions direction) {
  m_parameters.push_back({name, direction, value});
}

void Method::addStringParameter(const std::string& name, const std::string& value,
                                Parameter::directions direction) {
  m_parameters.push_back({name, direction, value});
}
