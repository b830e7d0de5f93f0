// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <functional>

class QTimer;

// The session's accessibility as a window that asks the user for it sees
// it: looked at without changing anything, turned on when the user asks,
// and from then on checked every second until it is on. The check goes on
// while the window that asked is closed or shows something else; it ends
// only once the permission is there. Main thread.
class AccessibilityPermission : public QObject {
    Q_OBJECT

public:
    // Whether the desktop lets Vellumo read other applications' text; with
    // prompt, it first turns the session's accessibility on.
    using TrustTest = std::function<bool(bool prompt)>;

    static constexpr int pollMs = 1000;

    explicit AccessibilityPermission(TrustTest trustTest, QObject *parent = nullptr);
    ~AccessibilityPermission() override;

    // Looks without prompting (looking must not change the session).
    bool check();
    // Turns accessibility on, and checks every second until it is.
    void grant();

    bool isGranted() const { return m_granted; }
    bool isPolling() const;

Q_SIGNALS:
    void grantedChanged(bool granted);

private:
    void set(bool granted);

    TrustTest m_trustTest;
    QTimer *m_poll;
    bool m_granted = false;
};
