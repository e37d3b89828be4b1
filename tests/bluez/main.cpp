#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include "tests/bluez/StandInBluez.h"

// standin-bluez ADDRESS: reads commands from standard input until its end, see StandInBluez.
int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (argc != 2) return 2;
  try {
    test::StandInBluez bluez(argv[1]);
    std::puts("standin-bluez: ready");
    for (std::string line; std::getline(std::cin, line);) {
      if (!bluez.command(line)) std::printf("unknown command: %s\n", line.c_str());
    }
  } catch (const std::exception& error) {
    std::printf("standin-bluez: %s\n", error.what());
    return 1;
  }
  return 0;
}
