#pragma once

#include <string>
#include <vector>

#include "framework/Export.h"
#include "framework/Parameter.h"

/// A named message with its parameters: what services and their clients send each other.
///
/// A plain value without locks: one thread at a time.
class FRAMEWORK_API Method {
 public:
  enum methodTypes {
    NOTIFICATION = 0,  ///< wants no answer
    REPLY = 1,         ///< answers a request
    REQUEST = 2,       ///< asks a service for something
  };

  Method() = default;
  Method(const std::string& name, methodTypes type);

  [[nodiscard]] const std::string& getName() const { return m_name; }
  [[nodiscard]] methodTypes getType() const { return m_type; }
  /// In the order in which they were added.
  [[nodiscard]] const std::vector<Parameter>& getParameters() const { return m_parameters; }

  /// Each finds the first parameter of that name, direction and type. Returns false, and leaves
  /// `value` as it is, when there is none.
  bool getBoolParameter(const std::string& name, bool& value,
                        Parameter::directions direction) const;
  bool getIntParameter(const std::string& name, int& value, Parameter::directions direction) const;
  bool getStringParameter(const std::string& name, std::string& value,
                          Parameter::directions direction) const;

  /// Each appends; a name may stand there more than once.
  void addBoolParameter(const std::string& name, bool value, Parameter::directions direction);
  void addIntParameter(const std::string& name, int value, Parameter::directions direction);
  void addStringParameter(const std::string& name, const std::string& value,
                          Parameter::directions direction);

 private:
  std::string m_name;
  methodTypes m_type = NOTIFICATION;
  std::vector<Parameter> m_parameters;
};
