#pragma once

/// @file
/// The names and signs of a language and country.

#include "morvex/export.h"
#include "morvex/sstring.h"

#include <memory>

namespace MorvexA106
{

/// Names of days and months, marks of morning and afternoon, eras, and the signs in numbers: of the locale in force, of
/// a named one or of English, which is built in. No locale is put in force for it, neither the process's nor for
/// longer than a call the thread's.
///
///     const SLocale german("de_DE");
///     german.GetLongMonth(3);                // "März"
///     SLocale::English().GetShortDay(0);     // "Sun", wherever the process runs
///
/// Names come in the multibyte form of the locale that is in force on the calling thread, whatever code set the named
/// locale has: a character without a form there becomes `?`.
///
/// | index           | taken   | anything else |
/// |-----------------|---------|---------------|
/// | day of the week | 0 to 6, Sunday to Saturday    | empty text |
/// | month           | 1 to 12, January to December  | empty text |
///
/// Months have the form that stands in a date, where the system's data tell it from the bare name ("marca", not
/// "marzec"). Objects never change: any thread may ask. Copies share what they hold. Making one costs a read of the
/// system's data, so it is kept rather than made anew; each answer is one allocation. Throws "bad allocation" only.
class MORVEX_EXPORT SLocale
{
public:
    /// The locale in force as it is now, and stays when another one comes into force later.
    ///
    /// POSIX: the calling thread's (`uselocale` counts). Windows: the C runtime's; its era is the English one.
    SLocale();

    /// A locale by its name: language and country, "de_DE" or "de-DE"; empty for the one that the environment (on
    /// Windows the user) asks for. "C" and "POSIX" are English, and so is what is not known: ask `isKnown`.
    ///
    /// POSIX: a name that the system knows as it stands, with a code set or without, or else with ".UTF-8".
    /// Windows: a code set or modifier in the name is passed over.
    explicit SLocale(const SAnsiString& name);

    /// Needs nothing of the system.
    static SLocale English();

    /// False for an object that was made from a name which the system doesn't know. A name that begins with "en" is
    /// always known.
    bool isKnown() const noexcept { return m_known; }

    SAnsiString GetShortDay(int day) const;
    SAnsiString GetLongDay(int day) const;
    SAnsiString GetShortMonth(int month) const;
    SAnsiString GetLongMonth(int month) const;

    /// The mark of morning (true) or afternoon. Empty in a locale that only knows the 24 hours, such as many German
    /// ones. Short is its first character, or all of it where the two begin alike: "A" of "AM".
    SAnsiString GetShortAM(bool morning) const;
    SAnsiString GetLongAM(bool morning) const;

    /// The era of a year of the common calendar, where -1 is followed by 1: "A.D." and "B.C." where the locale has no
    /// names for them. Eras that count years in another way, such as an emperor's, are none for these dates.
    SAnsiString GetEra(long year) const;

    /// The sign before a number's fraction, never empty, and the one between thousands, which may be empty.
    SAnsiString GetDecimalSign() const;
    SAnsiString GetGroupingSign() const;

private:
    struct Names;

    SLocale(std::shared_ptr<const Names> names, bool known) noexcept;

    std::shared_ptr<const Names> m_names;
    bool m_known;
};

} // namespace MorvexA106
