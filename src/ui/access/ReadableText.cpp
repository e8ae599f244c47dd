#include "ui/access/ReadableText.h"

#include <QStringList>

#include "media/wire/media_types.h"

namespace vantor::ui {

namespace {
constexpr std::size_t kMaxReadBytes = 1024;
}  // namespace

QString ReadableText(std::string_view text) {
    if (text.size() > kMaxReadBytes) {
        // Cut before a letter, not inside one: a continuation byte is
        // 10xxxxxx.
        std::size_t cut = kMaxReadBytes;
        while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) {
            --cut;
        }
        text = text.substr(0, cut);
    }
    QString result = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    for (QChar& c : result) {
        if (c.category() == QChar::Other_Control) {
            c = QLatin1Char(' ');
        }
    }
    return result.simplified();
}

QString ReadableRow(const wire::MediaItem& item) {
    QStringList parts;
    for (const std::string* text : {&item.title, &item.artist}) {
        if (QString part = ReadableText(*text); !part.isEmpty()) {
            parts << part;
        }
    }
    if (item.__isset.length && item.length > 0) {
        // As the row shows it: "3:27", "1:02:03".
        const std::int32_t s = item.length;
        parts << (s >= 3600
                      ? QStringLiteral("%1:%2:%3")
                            .arg(s / 3600)
                            .arg(s % 3600 / 60, 2, 10, QLatin1Char('0'))
                            .arg(s % 60, 2, 10, QLatin1Char('0'))
                      : QStringLiteral("%1:%2").arg(s / 60).arg(s % 60, 2, 10, QLatin1Char('0')));
    }
    return parts.join(QStringLiteral(", "));
}

}  // namespace vantor::ui
