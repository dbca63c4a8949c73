#include "morvex/sstring.h"

namespace MorvexA106
{

namespace
{

/// Searches folded copies and answers with a cursor into the original: characters keep their number when they
/// are folded, though not their size.
template <class Text>
typename Text::iterator findNoCase(const Text& text, Text wanted)
{
    Text folded(text);
    folded.toLower();
    wanted.toLower();
    const typename Text::iterator hit = folded.find(wanted);
    typename Text::iterator found(text);
    found += folded.getCharIndex(hit);
    return found;
}

} // namespace

SAnsiStringCI::iterator SAnsiStringCI::find(const SAnsiString& wanted) const
{
    return findNoCase<SAnsiString>(*this, wanted);
}

SWCharStringCI::iterator SWCharStringCI::find(const SWCharString& wanted) const
{
    return findNoCase<SWCharString>(*this, wanted);
}

} // namespace MorvexA106
