#include "platform/qt/text.h"

#include "platform/window_model/shown_text.h"

#include <QStringDecoder>

QString to_qt(std::string_view text)
{
    const QByteArrayView bytes(text.data(), static_cast<qsizetype>(text.size()));
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString result = utf8(bytes);
    if (utf8.hasError()) {
        result = QString::fromLatin1(bytes);
    }
    return result.remove(QLatin1Char('\r'));
}

QString Mnemonics::label(std::string_view text)
{
    QString result = to_qt(text);
    for (const bool first_only : {true, false}) {
        for (qsizetype i = 0; i < result.size(); i++) {
            const bool is_first = i == 0 || result[i - 1].isSpace();
            const QChar letter = result[i].toLower();
            if (letter.isLetter() && is_first >= first_only && !taken_.contains(letter)) {
                taken_ += letter;
                return result.insert(i, QLatin1Char('&'));
            }
        }
    }
    return result;
}

QString to_qt_shown(const char *text)
{
    std::string shown;
    append_shown_text(&shown, text);
    return QString::fromStdString(shown).replace(QLatin1Char('\t'), QLatin1Char(' '));
}
