#include "program.h"

int main(int argc, char** argv) {
  return tool::runProgram(argc, argv);
}
