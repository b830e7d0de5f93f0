// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QString>

// The block of text put in front of every prompt sent to a provider. Seeded
// with a default on first use; an empty stored value is the user's choice and
// is kept. Views follow baseInstructionsChanged.
class BaseInstructionsService : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString baseInstructions READ baseInstructions WRITE setBaseInstructions NOTIFY
                   baseInstructionsChanged)

public:
    static const QString defaultBaseInstructions;

    static BaseInstructionsService &shared();

    explicit BaseInstructionsService(QObject *parent = nullptr);

    QString baseInstructions() const { return m_baseInstructions; }
    // Memory only; saveBaseInstructions() persists.
    void setBaseInstructions(const QString &text);

    void loadBaseInstructions();
    void saveBaseInstructions();

    // The base instructions as written, "\n\n---\n\n", then the prompt; just
    // the prompt when the instructions are blank.
    QString composePrompt(const QString &prompt) const;

Q_SIGNALS:
    void baseInstructionsChanged(const QString &text);

private:
    QString m_baseInstructions;
};
