// avo-cli's entry point.

#include <iostream>

#include "avo_cli.h"

int main(int argc, char** argv) {
  return km::runAvoCli(argc, argv, std::cin, std::cout, std::cerr);
}
