#include "cli/command.h"

int main(int argc, char** argv)
{
    return tolvar::RunProgram(argc, argv);
}
