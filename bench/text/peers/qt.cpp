#include "rows.h"

#include <QByteArray>
#include <QByteArrayMatcher>
#include <QString>

namespace TextBench
{

namespace
{

using Bench::keep;

QString wideOf(const std::string& text)
{
    return QString::fromStdString(text);
}

QByteArray bytesOf(const std::string& text)
{
    return QByteArray::fromStdString(text);
}

template <class Text, class Append>
void appendCharacters(Append appendNext)
{
    Text text;
    for (int i = 0; i < 1000; ++i) {
        appendNext(text, static_cast<char>('a' + (i & 15)));
    }
    keep(text);
}

template <class Text, class Piece>
void appendPieces(const Piece& piece)
{
    Text text;
    for (int i = 0; i < 65536; ++i) {
        text.append(piece);
    }
    keep(text);
}

template <class Text>
void copyAndDrop(const Text& source)
{
    Text copy(source);
    keep(copy);
}

template <class Text>
void buildAndDrop()
{
    Text text;
    keep(text);
}

void addBuilding(Rows& rows, const Texts& texts)
{
    rows[Name::share].peer("QString", [text = wideOf(texts.letters100)] { copyAndDrop(text); });
    rows[Name::share].peer("QByteArray", [text = bytesOf(texts.letters100)] { copyAndDrop(text); });
    rows[Name::build].peer("QString", [] { buildAndDrop<QString>(); });
    rows[Name::build].peer("QByteArray", [] { buildAndDrop<QByteArray>(); });
    rows[Name::appendCharacters].peer("QString", [] {
        appendCharacters<QString>([](QString& text, char next) { text.append(QLatin1Char(next)); });
    });
    rows[Name::appendCharacters].peer("QByteArray", [] {
        appendCharacters<QByteArray>([](QByteArray& text, char next) { text.append(next); });
    });
    rows[Name::appendPieces].peer("QString", [piece = wideOf(texts.piece)] { appendPieces<QString>(piece); });
    rows[Name::appendPieces].peer("QByteArray",
                                  [piece = QByteArrayView(texts.piece)] { appendPieces<QByteArray>(piece); });
}

template <class Text>
void addEquality(Bench::Row& row, const char* name, const Text& left, const Text& right)
{
    row.peer(name, [left, right] { keep(left == right); });
}

void addComparing(Rows& rows, const Texts& texts)
{
    // Read anew, so that the two share no buffer.
    for (const std::string* text : {&texts.letters10, &texts.letters100, &texts.letters1000}) {
        addEquality(rows[Name::equal(*text)], "QString", wideOf(*text), wideOf(*text));
        addEquality(rows[Name::equal(*text)], "QByteArray", bytesOf(*text), bytesOf(*text));
    }
    std::string other = texts.letters100;
    other.back() = '!';
    addEquality(rows[Name::unequal], "QString", wideOf(texts.letters100), wideOf(other));
    addEquality(rows[Name::unequal], "QByteArray", bytesOf(texts.letters100), bytesOf(other));
    for (const auto& [lower, mixed] : casePairs(texts)) {
        Bench::Row& row = rows[Name::noCase(*lower)];
        row.peer("QString", [left = wideOf(*lower), right = wideOf(*mixed)] {
            keep(left.compare(right, Qt::CaseInsensitive));
        });
        row.peer("QByteArray", [left = bytesOf(*lower), right = bytesOf(*mixed)] {
            keep(left.compare(right, Qt::CaseInsensitive));
        });
    }
}

void addSearching(Rows& rows, const Texts& texts)
{
    Bench::Row& row = rows[Name::find];
    row.peer("QString",
             [text = wideOf(texts.haystack), wanted = wideOf(texts.needle)] { keep(text.indexOf(wanted)); });
    row.peer("QByteArray", [text = bytesOf(texts.haystack), wanted = bytesOf(texts.needle)] {
        keep(text.indexOf(wanted));
    });
    row.peer("QByteArrayMatcher",
             [text = bytesOf(texts.haystack), matcher = QByteArrayMatcher(bytesOf(texts.needle))] {
                 keep(matcher.indexIn(text));
             });
}

void addEngine(Rows& rows, const Texts& texts)
{
    addBuilding(rows, texts);
    addComparing(rows, texts);
    addSearching(rows, texts);
}

const Peer qt({.engine = addEngine});

} // namespace

} // namespace TextBench
