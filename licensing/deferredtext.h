#pragma once

#include <QCoreApplication>
#include <QString>
#include <QStringList>

// A sentence for the operator kept as its source text and arguments rather than as translated
// text, so that a window can show it again in the other language after a language switch.
// Sources are marked with QT_TRANSLATE_NOOP(context, text) so that lupdate finds them.
struct DeferredText
{
    const char *context = nullptr;
    const char *source = nullptr;
    QStringList arguments;

    DeferredText() = default;
    DeferredText(const char *textContext, const char *sourceText, const QStringList &args = {})
        : context(textContext), source(sourceText), arguments(args)
    {
    }

    bool isEmpty() const { return !source; }
    // The text in the language installed now, with %1, %2, ... filled in.
    QString toString() const
    {
        if (!source)
            return QString();
        QString text = QCoreApplication::translate(context, source);
        for (const QString &argument : arguments)
            text = text.arg(argument);
        return text;
    }
};
