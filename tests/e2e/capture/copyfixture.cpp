// SPDX-License-Identifier: GPL-3.0-or-later
// A small application whose focused control has no text interface and whose
// Edit menu's Copy item (Ctrl+C) puts a known text on the clipboard: the case
// where only the Copy menu item can read the selection.
//   copyfixture [TEXT [DELAY_MS]]   DELAY_MS: the copy comes that late, as from
//                                   an application busy with other work
#include <QApplication>
#include <QClipboard>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QTimer>

int main(int argc, char **argv)
{
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    QApplication app(argc, argv);
    const QString copied = argc > 1 ? QString::fromUtf8(argv[1]) : QStringLiteral("fixture text");
    const int delayMs = argc > 2 ? QByteArray(argv[2]).toInt() : 0;
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Copy fixture"));
    QMenu *file = window.menuBar()->addMenu(QStringLiteral("&File"));
    file->addAction(QStringLiteral("&Quit"), &app, &QApplication::quit);
    QMenu *edit = window.menuBar()->addMenu(QStringLiteral("&Edit"));
    edit->addAction(QStringLiteral("Cu&t"))->setShortcut(QKeySequence::Cut);
    QAction *copy = edit->addAction(QStringLiteral("&Copy"));
    copy->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_C));
    QObject::connect(copy, &QAction::triggered, &app, [copied, delayMs] {
        QTimer::singleShot(delayMs, [copied] { QGuiApplication::clipboard()->setText(copied); });
    });
    edit->addAction(QStringLiteral("&Paste"))->setShortcut(QKeySequence::Paste);
    window.menuBar()->addMenu(QStringLiteral("&View"))->addAction(QStringLiteral("&Zoom"));
    auto *button = new QPushButton(QStringLiteral("Focus here"), &window);
    window.setCentralWidget(button);
    window.resize(400, 200);
    window.show();
    button->setFocus();
    return app.exec();
}
