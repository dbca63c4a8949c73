#pragma once

/// @file
/// The one table of the library's numbered texts.

#include "morvex/export.h"

namespace MorvexA106
{

/// Numbers are promises: translations go by them. A number is never used for another meaning, and its markers keep
/// theirs.
enum ResourceText : unsigned long
{
    unknownReason = 0xB090,
    initializeFailedText = 0xB091,
    noStopThread = 0xB092, ///< %1: the reason
    noServerLeft = 0xB093,
    pidFileNeedsPath = 0xB094,
    pidFileHeld = 0xB095,    ///< %1: the path, %2: by whom
    pidFileNotMade = 0xB096, ///< %1: the path, %2: the reason
    dispatcherFailed = 0xB097,
    noServerGiven = 0xB098,
    notListening = 0xB099, ///< %1: the reason
    serviceUnavailable = 0xB09A,
    serverFailed = 0xB09B, ///< %1: the reason
    serviceStatusFailed = 0xB09C,
    serverStarting = 0xB09D,    ///< %1: the service's name
    serverEnding = 0xB09E,      ///< %1: the service's name
    serverFailureCode = 0xB09F, ///< %1: the code

    fileTexts = 0xB0B0,           ///< by the code of SFileException: %1: the file, %2: the reason
    fileLockText = fileTexts + 4, ///< %1: the file, %2: the reason; not for the code of that number
    fileUnknownText = fileTexts + 5,

    fileSystemTexts =
        0xB0C0, ///< by the code of SFileSysException: %1: the file, %2: the reason or second file
    fileSystemUnknownText = fileSystemTexts + 14,
    fileReplaceText = fileSystemTexts + 24, ///< %1: the file, %2: the reason

    helpAddress = 0xB0E0, ///< %1: the topic's number

    urlFailed = 46606,
    urlRefused = 47000,
    urlWithoutProtocol = 47001, ///< %1: the URL
    urlOfOtherProtocol = 47002, ///< %1: the URL, %2: the protocol that it needs
    urlWithoutPlace = 47003     ///< %1: the URL
};

/// The text in English and ASCII, with its markers; null for a number without one.
MORVEX_EXPORT const char* resourceText(unsigned long number) noexcept;

} // namespace MorvexA106
