#include "check/cli/check_run.h"

int main(int argc, char** argv) {
  return check::RunCheck(argc, argv);
}
