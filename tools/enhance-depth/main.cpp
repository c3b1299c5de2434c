#include "commands/application.h"

int main(int argc, char** argv) { return enhance_depth_tool::run(argc, argv); }
