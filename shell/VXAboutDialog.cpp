#include "VXAboutDialog.h"

#include "VXApplicationIcon.h"

#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

VXAboutDialog::VXAboutDialog(const QString &recordPath, const QString &settingsPath, QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("AboutWindow"));
    setWindowTitle(tr(VXAboutTitle));
    setWindowIcon(applicationIcon());
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(10);

    auto *icon = new QLabel(this);
    icon->setPixmap(applicationIcon().pixmap(96, 96));
    icon->setAlignment(Qt::AlignHCenter);
    icon->setAccessibleName(QCoreApplication::applicationName());
    layout->addWidget(icon);

    auto *name = new QLabel(QCoreApplication::applicationName(), this);
    QFont font = name->font();
    font.setPointSizeF(font.pointSizeF() * 1.6);
    font.setBold(true);
    name->setFont(font);
    name->setAlignment(Qt::AlignHCenter);
    layout->addWidget(name);

    const auto addText = [&](const QString &text, bool selectable) {
        auto *label = new QLabel(text, this);
        label->setWordWrap(true);
        label->setAlignment(Qt::AlignHCenter);
        if (selectable)
            label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        layout->addWidget(label);
    };
    addText(tr(VXAboutVersionFormat).arg(QCoreApplication::applicationVersion()), true);
    addText(tr(VXAboutDescription), false);
    addText(tr(VXAboutRecordFormat).arg(QDir::toNativeSeparators(recordPath)), true);
    addText(tr(VXAboutSettingsFormat).arg(QDir::toNativeSeparators(settingsPath)), true);
    addText(tr(VXAboutLicence), false);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    buttons->button(QDialogButtonBox::Close)->setDefault(true);
    setMinimumWidth(380);
}
