// SPDX-License-Identifier: GPL-3.0-or-later
// The yardstick of bench_onboarding: the least a Qt program can do for the
// same visible thing as the first-start guide's first frame, a 600 by 800
// window titled "Welcome to Vellumo" with the same heading in the same
// font. Nothing else: no settings, no key store, no accessibility check.
#include <QApplication>
#include <QLabel>
#include <QVBoxLayout>
#include <QWidget>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QWidget window;
    window.setWindowTitle(QStringLiteral("Welcome to Vellumo"));
    auto *layout = new QVBoxLayout(&window);
    layout->setContentsMargins(40, 32, 40, 20);
    auto *heading = new QLabel(QStringLiteral("Welcome to Vellumo"), &window);
    QFont font;
    font.setPixelSize(26);
    font.setWeight(QFont::Bold);
    heading->setFont(font);
    heading->setAlignment(Qt::AlignCenter);
    layout->addWidget(heading);
    layout->addStretch(1);
    window.resize(600, 800);
    window.show();
    return app.exec();
}
