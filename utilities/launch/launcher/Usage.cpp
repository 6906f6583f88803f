#include "Usage.h"

#include "platform/Output.h"

void PrintUsage() {
  Write(stdout, "Torvel Launcher " TORVEL_VERSION
                "\n"
                "\n"
                "Usage: Torvel <command> [launch options]\n"
                "\n"
                "Where <command> is one of:\n"
                "\tBuild <targets> <configuration> [options]\n"
                "\tRebuild <targets> <configuration> [options]\n"
                "\tClean <targets> <configuration> [options]\n"
                "\tTidy <targets> <configuration> [options]\n"
                "\tScrub <targets> <configuration> [options]\n"
                "\tExport <targets> <configuration> [options]\n"
                "\tValidate <targets> <configuration> [options]\n"
                "\tListDependencies <targets> <configuration> [options]\n"
                "\tLaunch [options] <command> [arguments]\n"
                "\tCache <address> <command>\n"
                "\tSendEmail <to> <subject> <message>\n"
                "\tChecksum <file>\n"
                "\tListSlaves\n"
                "\tSlaveStatus\n"
                "\tSlaveClose\n"
                "\tAssistantClose\n"
                "\tProfileIO {read|write} {nio|blocking} [ip]\n"
                "\n"
                "\n");
  Write(stdout, "(also see Torvel <command> --help)\n\n");
  Write(stdout,
        "Launch Options:\n"
        "\t--jar=<dir>   Subdirectory of workspace root with Torvel.jar (defaults to \"bin\")\n"
        "\t--vok         Equiv. to --jar=VokTools/bin\n"
        "\t--debug       Print debugging information\n"
        "\n");
}
