#pragma once

#include <string>
#include <vector>

#include "framework/Export.h"
#include "framework/Parameter.h"

/// A message between a service and its clients: a name, a type and parameters.
///
/// Threads: a value type without locks.
class FRAMEWORK_API Method {
 public:
  enum methodTypes {
    NOTIFICATION = 0,  ///< has no answer
    REPLY = 1,         ///< answers a request
    REQUEST = 2,       ///< has an answer
  };

  Method() = default;
  Method(const std::string& name, methodTypes type);

  [[nodiscard]] const std::string& getName() const { return m_name; }
  [[nodiscard]] methodTypes getType() const { return m_type; }
  /// In the order in which they were added.
  [[nodiscard]] const std::vector<Parameter>& getParameters() const { return m_parameters; }

  /// Store the value of the first parameter with this name, direction and type in `value`. Return
  /// false, with `value` unchanged, if there is none.
  bool getBoolParameter(const std::string& name, bool& value,
                        Parameter::directions direction) const;
  bool getIntParameter(const std::string& name, int& value, Parameter::directions direction) const;
  bool getStringParameter(const std::string& name, std::string& value,
                          Parameter::directions direction) const;

  /// Append a parameter. Names may repeat.
  void addBoolParameter(const std::string& name, bool value, Parameter::directions direction);
  void addIntParameter(const std::string& name, int value, Parameter::directions direction);
  void addStringParameter(const std::string& name, const std::string& value,
                          Parameter::directions direction);

 private:
  std::string m_name;
  methodTypes m_type = NOTIFICATION;
  std::vector<Parameter> m_parameters;
};
