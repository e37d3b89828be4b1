#include <exception>
#include <iostream>

#include "tools/phonectl/PhoneCtl.h"

int main(int argc, char** argv) {
  try {
    return phonectl::PhoneCtl().run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "phonectl: " << error.what() << std::endl;
    return phonectl::kFailed;
  }
}
