#include <exception>
#include <iostream>

#include "tools/cardtool/CardTool.h"
#include "tools/cardtool/ExitCode.h"

int main(int argc, char** argv) {
  try {
    return cardtool::CardTool().run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "cardtool: " << error.what() << std::endl;
    return cardtool::kFailed;
  }
}
