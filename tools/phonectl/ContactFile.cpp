#include "tools/phonectl/ContactFile.h"

#include <stdexcept>

#include "cards/ContactJson.h"
#include "cards/InputFile.h"
#include "tools/phonectl/Failure.h"

namespace phonectl {

CLI::Option* addContactFile(CLI::App& app, std::string& file) {
  return app
      .add_option("--json", file,
                  "A contact as one JSON object, as `phonectl book show --contact` prints it")
      ->type_name("FILE|-");
}

contacts::Contact readContactFile(const std::string& file) {
  try {
    const std::string json = contacts::readInput(file);
    try {
      return contacts::contactFromJson(json);
    } catch (const std::runtime_error& error) {
      throw Failure(kFailed, contacts::shownInput(file) + ": " + error.what());
    }
  } catch (const contacts::InputError& error) {
    throw Failure(kFailed, error.what());
  }
}

}  // namespace phonectl
