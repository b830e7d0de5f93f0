// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QDir>
#include <QElapsedTimer>
#include <QPalette>
#include <QString>
#include <QStyle>
#include <QStyleFactory>
#include <QTimer>
#include <QtGlobal>
#include <memory>

// What the offscreen widget tests share. Header-only: only they, which
// link Qt Widgets, include it.
namespace TestSupport {

// Drops the offscreen platform's notes about what it cannot do (grabbing
// the keyboard, raising), which would bury the test's own output.
inline void quietOffscreenWarnings()
{
    static QtMessageHandler previous = nullptr;
    if (previous) {
        return;
    }
    previous = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext &context, const QString &message) {
            if (!message.startsWith(QLatin1String("This plugin does not support"))) {
                previous(type, context, message);
            }
        });
}

// The light and dark palettes the look tests paint and photograph with
// (Fusion's own, and a dark one as desktops ship it).

inline QPalette darkPalette()
{
    QPalette dark;
    dark.setColor(QPalette::Window, QColor(40, 40, 43));
    dark.setColor(QPalette::WindowText, QColor(236, 236, 238));
    dark.setColor(QPalette::Base, QColor(28, 28, 30));
    dark.setColor(QPalette::AlternateBase, QColor(36, 36, 39));
    dark.setColor(QPalette::Text, QColor(236, 236, 238));
    dark.setColor(QPalette::PlaceholderText, QColor(236, 236, 238, 128));
    dark.setColor(QPalette::Button, QColor(52, 52, 56));
    dark.setColor(QPalette::ButtonText, QColor(236, 236, 238));
    dark.setColor(QPalette::Light, QColor(72, 72, 76));
    dark.setColor(QPalette::Midlight, QColor(62, 62, 66));
    dark.setColor(QPalette::Mid, QColor(46, 46, 50));
    dark.setColor(QPalette::Dark, QColor(22, 22, 24));
    dark.setColor(QPalette::Shadow, QColor(10, 10, 12));
    dark.setColor(QPalette::Highlight, QColor(10, 100, 220));
    dark.setColor(QPalette::HighlightedText, Qt::white);
    dark.setColor(QPalette::ToolTipBase, QColor(52, 52, 56));
    dark.setColor(QPalette::ToolTipText, QColor(236, 236, 238));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        dark.setColor(QPalette::Disabled, role, QColor(236, 236, 238, 100));
    }
    return dark;
}

inline QPalette lightPalette()
{
    const std::unique_ptr<QStyle> fusion(QStyleFactory::create("Fusion"));
    QPalette light = fusion->standardPalette();
    light.setColor(QPalette::Highlight, QColor(0, 99, 225));
    light.setColor(QPalette::HighlightedText, Qt::white);
    return light;
}

// Watches the event loop with a 5 ms timer from construction until stop():
// the longest gap between two ticks is how long the UI thread was held up.
class StallWatch {
public:
    StallWatch()
    {
        m_clock.start();
        m_ticks.setInterval(5);
        QObject::connect(&m_ticks, &QTimer::timeout, &m_ticks, [this] {
            m_longest = std::max(m_longest, m_clock.elapsed() - m_last);
            m_last = m_clock.elapsed();
        });
        m_ticks.start();
    }

    void stop() { m_ticks.stop(); }
    qint64 longest() const { return m_longest; }
    qint64 elapsed() const { return m_clock.elapsed(); }

private:
    QElapsedTimer m_clock;
    QTimer m_ticks;
    qint64 m_last = 0;
    qint64 m_longest = 0;
};

// build/screenshots, where the look tests leave their pictures; made when
// missing. An invalid (empty) path when the build folder is not known.
inline QDir screenshotFolder()
{
    const QString build = qEnvironmentVariable("VELLUMO_BUILD_DIR");
    QDir folder(build + QStringLiteral("/screenshots"));
    if (build.isEmpty() || !folder.mkpath(QStringLiteral("."))) {
        return QDir(QString());
    }
    return folder;
}

} // namespace TestSupport
