// The shared question and input boxes.

#include "shell/dialogs/MessageBoxes.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QStyle>
#include <QVBoxLayout>

namespace korvan {

namespace {

const QString kYesCaption = QStringLiteral("&Yes");
const QString kNoCaption = QStringLiteral("&No");

// "&Yes" -> "Yes": what a screen reader should say for a button.
QString WithoutMnemonic(QString caption)
{
    return caption.remove(QRegularExpression(QStringLiteral("&(?!&)")));
}

QuestionAnswer AnswerFor(const QString &chosenCaption, bool chosenFirst)
{
    if (chosenCaption == kYesCaption)
        return QuestionAnswer::Yes;
    if (chosenCaption == kNoCaption)
        return QuestionAnswer::No;
    return chosenFirst ? QuestionAnswer::Yes : QuestionAnswer::No;
}

void SetUpDialog(QDialog &dialog, const QString &objectName, const QString &title)
{
    dialog.setObjectName(objectName);
    dialog.setWindowTitle(title);
    dialog.setAccessibleName(title);
    dialog.setWindowFlag(Qt::WindowContextHelpButtonHint, false);
}

QLabel *TextLabel(const QString &text, const QString &accessibleName, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setAccessibleName(accessibleName);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // Short texts on one line, long ones wrapped at about sixty characters.
    int widest = 0;
    for (const QString &line : text.split(u'\n'))
        widest = qMax(widest, label->fontMetrics().horizontalAdvance(line));
    const int charWidth = label->fontMetrics().averageCharWidth();
    label->setMinimumWidth(qBound(charWidth * 30, widest + 2, charWidth * 60));
    return label;
}

QPushButton *CaptionButton(const QString &caption, QWidget *parent)
{
    auto *button = new QPushButton(caption, parent);
    button->setAccessibleName(WithoutMnemonic(caption));
    button->setMinimumWidth(button->fontMetrics().averageCharWidth() * 12);
    return button;
}

} // namespace

QuestionAnswer askQuestion(QWidget *parent, const QString &title, const QString &text, const QString &firstCaption,
                           const QString &secondCaption)
{
    QDialog dialog(parent);
    SetUpDialog(dialog, QStringLiteral("QuestionBox"), title);

    auto *icon = new QLabel(&dialog);
    const int iconSize = dialog.style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, &dialog);
    icon->setPixmap(dialog.style()->standardIcon(QStyle::SP_MessageBoxQuestion, nullptr, &dialog).pixmap(iconSize));
    icon->setAlignment(Qt::AlignTop);
    // Engines end their questions with CR LF; a trailing empty line only adds height.
    auto *label = TextLabel(QString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n")).trimmed(),
                            QStringLiteral("Question"), &dialog);
    label->setObjectName(QStringLiteral("Question"));

    auto *first = CaptionButton(firstCaption, &dialog);
    auto *second = CaptionButton(secondCaption, &dialog);
    first->setObjectName(QStringLiteral("FirstButton"));
    second->setObjectName(QStringLiteral("SecondButton"));
    first->setDefault(true);
    first->setFocus();

    bool chosenFirst = false;
    QObject::connect(first, &QPushButton::clicked, &dialog, [&] {
        chosenFirst = true;
        dialog.accept();
    });
    QObject::connect(second, &QPushButton::clicked, &dialog, &QDialog::reject);

    auto *textRow = new QHBoxLayout;
    textRow->setSpacing(12);
    textRow->addWidget(icon);
    textRow->addWidget(label, 1);
    auto *buttonRow = new QHBoxLayout;
    buttonRow->addStretch();
    buttonRow->addWidget(first);
    buttonRow->addWidget(second);
    auto *layout = new QVBoxLayout(&dialog);
    layout->addLayout(textRow);
    layout->addSpacing(8);
    layout->addLayout(buttonRow);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    dialog.exec();
    return chosenFirst ? AnswerFor(firstCaption, true) : AnswerFor(secondCaption, false);
}

QString askInput(QWidget *parent, const QString &prompt, const QString &title, const QString &defaultText)
{
    QDialog dialog(parent);
    SetUpDialog(dialog, QStringLiteral("InputBox"), title);

    auto *label = TextLabel(prompt, QStringLiteral("Prompt"), &dialog);
    label->setObjectName(QStringLiteral("Prompt"));
    auto *edit = new QLineEdit(defaultText, &dialog);
    edit->setObjectName(QStringLiteral("InputText"));
    edit->setAccessibleName(prompt);
    // Room for a long file or folder name.
    edit->setMinimumWidth(edit->fontMetrics().averageCharWidth() * 48);
    edit->selectAll();
    label->setBuddy(edit);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    buttons->button(QDialogButtonBox::Ok)->setAccessibleName(QStringLiteral("OK"));
    buttons->button(QDialogButtonBox::Cancel)->setAccessibleName(QStringLiteral("Cancel"));
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);

    auto *layout = new QVBoxLayout(&dialog);
    layout->addWidget(label);
    layout->addWidget(edit);
    layout->addSpacing(8);
    layout->addWidget(buttons);
    edit->setFocus();

    return dialog.exec() == QDialog::Accepted ? edit->text() : QString();
}

} // namespace korvan
