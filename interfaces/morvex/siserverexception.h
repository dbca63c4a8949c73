#pragma once

/// @file
/// What the server framework throws.

#include "morvex/export.h"
#include "morvex/sstring.h"

namespace MorvexA106
{

/// A failure of a server's life: a code and two texts, the message and what belongs to it for whoever looks
/// into the matter. Thrown by value. A server throws it too, to say why it can't begin:
///
///     if (!SFileSys::isDir(drop))
///         throw SIServerException(SIServerException::toldToUser, SAnsiString("There is no folder ") + drop);
///
/// `SIServerController::run` writes the message to standard error and turns it into an exit code.
class MORVEX_EXPORT SIServerException
{
public:
    enum ErrorCodes : int
    {
        unknown = 0,
        badCommandLine = 1,
        pidFileFailed = 2,    ///< another process holds it, or it can't be written
        noServer = 3,         ///< the controller was given none
        initializeFailed = 4, ///< the server's `initialize` returned false
        noService = 5,        ///< the process can't be a service of the system
        noResources = 6,      ///< the system refused a thread or a signal handler
        toldToUser = 8,       ///< under `serverconsole` the message is written to standard output as well
        firstOfServer = 100   ///< a server's own codes begin here
    };

    SIServerException() = default;
    explicit SIServerException(int code, const SAnsiString& message, const SAnsiString& extra = {});
    SIServerException(const SIServerException&) = default;
    SIServerException& operator=(const SIServerException&) = default;

    int ErrCode() const noexcept { return m_code; }

    /// The message; where there is none, a text that tells the code. Never empty.
    virtual SAnsiString toString() const;

    /// `toString()`, then ":", then the extra text.
    virtual SAnsiString summary() const;

    virtual ~SIServerException();

private:
    int m_code = unknown;
    SAnsiString m_message;
    SAnsiString m_extra;
};

} // namespace MorvexA106
