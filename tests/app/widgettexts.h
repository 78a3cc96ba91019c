#pragma once

#include <QAbstractButton>
#include <QAction>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QStringList>
#include <QTabWidget>
#include <QWidget>

// What the translation tests read off real widgets.
namespace widgettexts {

inline bool hasChinese(const QString &text)
{
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        // CJK ideographs, CJK punctuation and full-width forms ("：", "（").
        if ((u >= 0x4E00 && u <= 0x9FFF) || (u >= 0x3000 && u <= 0x303F) || (u >= 0xFF00 && u <= 0xFFEF))
            return true;
    }
    return false;
}

inline void addActionTexts(const QList<QAction *> &actions, QStringList &texts)
{
    for (const QAction *action : actions)
        texts << action->text() << action->toolTip() << action->statusTip() << action->iconText();
}

// Every text a user can see on root and its children: titles, labels, buttons, tabs, combo
// items, placeholders, menus and actions with their tips.
inline QStringList visibleTexts(QWidget *root)
{
    QList<QWidget *> widgets = root->findChildren<QWidget *>();
    widgets.prepend(root);
    QStringList texts;
    for (QWidget *w : std::as_const(widgets)) {
        texts << w->windowTitle() << w->toolTip() << w->statusTip() << w->whatsThis();
        addActionTexts(w->actions(), texts);
        if (auto *label = qobject_cast<QLabel *>(w))
            texts << label->text();
        if (auto *button = qobject_cast<QAbstractButton *>(w))
            texts << button->text();
        if (auto *group = qobject_cast<QGroupBox *>(w))
            texts << group->title();
        if (auto *menu = qobject_cast<QMenu *>(w))
            texts << menu->title();
        if (auto *edit = qobject_cast<QLineEdit *>(w))
            texts << edit->placeholderText();
        if (auto *combo = qobject_cast<QComboBox *>(w)) {
            for (int i = 0; i < combo->count(); ++i)
                texts << combo->itemText(i);
        }
        if (auto *tabs = qobject_cast<QTabWidget *>(w)) {
            for (int i = 0; i < tabs->count(); ++i)
                texts << tabs->tabText(i) << tabs->tabToolTip(i);
        }
    }
    addActionTexts(root->findChildren<QAction *>(), texts);
    texts.removeAll(QString());
    return texts;
}

inline QStringList untranslated(const QStringList &texts)
{
    QStringList result;
    for (const QString &text : texts) {
        if (hasChinese(text))
            result << text;
    }
    result.removeDuplicates();
    return result;
}

} // namespace widgettexts
