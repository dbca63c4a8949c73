#include "rows.h"

#include <QByteArray>
#include <QByteArrayMatcher>
#include <QLocale>
#include <QString>
#include <QStringConverter>
#include <QStringList>
#include <QStringTokenizer>
#include <array>
#include <vector>

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

std::vector<QString> wideOf(const std::vector<std::string>& texts)
{
    std::vector<QString> wide;
    for (const std::string& text : texts) {
        wide.push_back(wideOf(text));
    }
    return wide;
}

/// An operation on the next of the texts, in turns.
template <class Operation>
auto onEachWide(const std::vector<std::string>& texts, Operation operation)
{
    return [wide = wideOf(texts), operation, next = 0u]() mutable { operation(wide[next++ % numberCount]); };
}

void addToUtf16(Bench::Row& row, const UnicodeText& text)
{
    static std::vector<QChar> target(70000);
    row.peer("QString", [&text] {
        const QString made = QString::fromUtf8(text.utf8.data(), static_cast<qsizetype>(text.utf8.size()));
        keep(made);
    });
    row.peer("QStringDecoder", [&text] {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
        keep(decoder.appendToBuffer(target.data(), QByteArrayView(text.utf8)));
    });
}

void addToUtf8(Bench::Row& row, const UnicodeText& text)
{
    static std::vector<char> target(300000);
    row.peer("QString", [wide = wideOf(text.utf8)] {
        const QByteArray made = wide.toUtf8();
        keep(made);
    });
    row.peer("QStringEncoder", [wide = wideOf(text.utf8)] {
        QStringEncoder encoder(QStringEncoder::Utf8, QStringConverter::Flag::Stateless);
        keep(encoder.appendToBuffer(target.data(), wide));
    });
}

void addUnicode(Rows& rows, const Texts& texts)
{
    for (const UnicodeText* text : unicodeTexts(texts)) {
        addToUtf16(rows[Name::toUtf16(*text)], *text);
        addToUtf8(rows[Name::toUtf8(*text)], *text);
    }
}

void addDoubles(Rows& rows, const Doubles& doubles)
{
    rows[Name::toText(doubles)].peer("QString", onEachOf(doubles.values, [](double number) {
                                         const QString text =
                                             QString::number(number, 'g', QLocale::FloatingPointShortest);
                                         keep(text);
                                     }));
    rows[Name::fromText(doubles)].peer("QString", onEachWide(doubles.texts, [](const QString& text) {
                                           bool read = false;
                                           keep(text.toDouble(&read));
                                           keep(read);
                                       }));
}

void addNumbers(Rows& rows, const Texts& texts)
{
    rows[Name::integerToText].peer("QString", onEachOf(texts.integers.values, [](int number) {
                                       const QString text = QString::number(number);
                                       keep(text);
                                   }));
    rows[Name::integerToText].peer("QByteArray", onEachOf(texts.integers.values, [](int number) {
                                       const QByteArray text = QByteArray::number(number);
                                       keep(text);
                                   }));
    rows[Name::textToInteger].peer("QString", onEachWide(texts.integers.texts, [](const QString& text) {
                                       bool read = false;
                                       keep(text.toInt(&read));
                                       keep(read);
                                   }));
    addDoubles(rows, texts.random);
    addDoubles(rows, texts.prices);
}

void addTokens(Rows& rows, const Texts& texts)
{
    Bench::Row& row = rows[Name::split];
    row.peer("QString", [line = wideOf(texts.line)] {
        const QStringList fields = line.split(QLatin1Char(','));
        keep(fields);
    });
    row.peer("QByteArray", [line = bytesOf(texts.line)] {
        const QList<QByteArray> fields = line.split(',');
        keep(fields);
    });
    row.peer("QStringTokenizer, views", [line = wideOf(texts.line)] {
        std::array<QStringView, 32> fields;
        std::size_t count = 0;
        for (const QStringView field : QStringTokenizer{line, u','}) {
            fields[count++] = field;
        }
        keep(fields);
    });
}

const Peer qt({.engine = addEngine, .unicode = addUnicode, .numbers = addNumbers, .tokens = addTokens});

} // namespace

} // namespace TextBench
