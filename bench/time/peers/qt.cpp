#include "work.h"

#include <QDateTime>
#include <QString>
#include <QTimeZone>

namespace TimeBench
{

namespace
{

using Bench::keep;

const Peer qt([](Rows& rows) {
    static const QString format = QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz");
    static const QString text = QString::fromLatin1(fixedText);
    static const QTimeZone berlin("Europe/Berlin");
    rows.utcText.peer("Qt", [] { keep(QDateTime::currentDateTimeUtc().toString(format)); });
    rows.localText.peer("Qt", [] { keep(QDateTime::currentDateTime().toString(format)); });
    rows.fields.peer("Qt", onEachMoment([](std::int64_t seconds) {
                         int year = 0;
                         int month = 0;
                         int day = 0;
                         QDate::fromJulianDay(2440588 + seconds / 86400).getDate(&year, &month, &day);
                         keep(year + month + day);
                     }));
    rows.offset.peer("Qt", onEachMoment([](std::int64_t seconds) {
                         keep(berlin.offsetFromUtc(QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC)));
                     }));
    rows.parse.peer("Qt, ISO", [] { keep(QDateTime::fromString(text, Qt::ISODateWithMs)); });
    rows.parse.peer("Qt, a pattern", [] { keep(QDateTime::fromString(text, format)); });
});

} // namespace

} // namespace TimeBench
