#include "morvex/resourcetexts.h"

#include <algorithm>
#include <iterator>

namespace MorvexA106
{

namespace
{

struct Entry
{
    unsigned long number;
    const char* text;
};

constexpr char cannotRemove[] =
    "Failed to remove the file %1 in a file system operation. Please check access "
    "rights or for a sharing violation.  Reason: %2";

constexpr Entry entries[] = {
    {unknownReason, "an exception of an unknown kind"},
    {initializeFailedText, "The server could not be initialised."},
    {noStopThread, "There can be no stop thread: %1."},
    {noServerLeft, "The server is gone, and can't be stopped or uninitialised."},
    {pidFileNeedsPath, "The option pidfile needs a path."},
    {pidFileHeld, "The pid file \"%1\" is held by a running process (%2)."},
    {pidFileNotMade, "The pid file \"%1\" can't be made: %2."},
    {dispatcherFailed, "The service's control dispatcher could not be started."},
    {noServerGiven, "The server controller was given no server."},
    {notListening, "Requests to end can't be listened to: %1."},
    {serviceUnavailable,
     "Running as a service of the system is not available yet: use -fg or -serverconsole."},
    {serverFailed, "The server failed: %1."},
    {serviceStatusFailed, "The service's status could not be reported to the service control manager."},
    {serverStarting, "%1 is starting."},
    {serverEnding, "%1 ends after a failure."},
    {serverFailureCode, "Server failure %1"},

    {fileTexts, "Failed to open the file %1.  Reason: %2"},
    {fileTexts + 1, "Fail to read file %1.  Reason given: %2"},
    {fileTexts + 2, "Fail to write file %1.  Reason given: %2"},
    {fileTexts + 3, "Fail to flush file %1.  Reason given: %2.  File may not be completely written to disk."},
    {fileLockText, "Fail to lock bytes of file %1.  Reason given: %2"},
    {fileUnknownText, "Unknown error (exception).  "},

    {fileSystemTexts, "System is out of memory."},
    {fileSystemTexts + 1,
     "Fail to create directory structure in file system operation on file %1.  Reason given: %2"},
    {fileSystemTexts + 2, "File not found"},
    {fileSystemTexts + 3,
     "Fail to get file attributes from operating system in file system operation on file "
     "%1.  Reason given: %2"},
    {fileSystemTexts + 4, cannotRemove},
    {fileSystemTexts + 5, "Failed to copy the file %1 to %2 in file system operation. Please check access "
                          "rights. Reason given: %3"},
    {fileSystemTexts + 6, "The file %1 does not exist.  File system operation failed. Reason give: %2"},
    {fileSystemTexts + 7, "Fail to get status of file from operating system in file system operation on file "
                          "%1.  Reason given: %2"},
    {fileSystemTexts + 8, cannotRemove},
    {fileSystemTexts + 9,
     "Fail to set file attributes in file system operation on file %1.  Reason given: %2"},
    {fileSystemTexts + 10,
     "Failed to determine the size of the file %1 in file system operation. Reason: %2"},
    {fileSystemTexts + 11, "Failed to generate a unique filename in dir %1. Reason: %2"},
    {fileSystemTexts + 12, "Failed to retrieve disk statistics from %1. Reason: %2"},
    {fileSystemTexts + 13, "Failed to rename %1 to %2. Reason: %3"},
    {fileSystemUnknownText, "Unknown error in file system operation on file %1. Reason: %2"},
    {fileSystemTexts + 15, "Failed to set current directory to %1.  Reason: %2"},
    {fileSystemTexts + 16, "Failed to change ownership to %1.  Reason: %2"},
    {fileReplaceText, "Failed to replace the file %1. Reason: %2"},

    {helpAddress, "help/%1.html"},

    {urlFailed, "The URL can't be used."},
    {urlRefused, "The text is no URL of a repository."},
    {urlWithoutProtocol, "The URL \"%1\" names no protocol: there is no \"://\" in it."},
    {urlOfOtherProtocol, "The URL \"%1\" has another protocol than \"%2\"."},
    {urlWithoutPlace, "The URL \"%1\" ends after its protocol, and names no server."},
};

static_assert(std::ranges::is_sorted(entries, {}, &Entry::number), "the table is searched by halves");

} // namespace

const char* resourceText(unsigned long number) noexcept
{
    const Entry* const found = std::ranges::lower_bound(entries, number, {}, &Entry::number);
    return found != std::end(entries) && found->number == number ? found->text : nullptr;
}

} // namespace MorvexA106
