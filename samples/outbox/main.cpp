#include "outboxserver.h"

#include <morvex/siservercontroller.h>

#include <clocale>

int main(int argc, char** argv)
{
    // Names of files are text of the user's locale.
    std::setlocale(LC_ALL, "");
    MorvexA106::SIServerController controller(
        "outbox", "Outbox", "Delivers files from one folder into another, each exactly once",
        new Outbox::OutboxServer);
    return controller.run(argc, argv);
}
