#include <iostream>
#include <string>
#include <vector>

#include "kmwidget/cli.h"

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  return km::cli::runKmwidget(args, {std::cout, std::cerr, std::cin});
}
