// kelno: the Maya-free command-line tool over the core library, for pipelines and render farms.
#include "Commands.h"

int main(int argc, char** argv) { return KelnoCli::run(argc, argv); }
