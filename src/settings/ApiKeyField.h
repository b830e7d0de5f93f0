// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendor.h"

#include <QWidget>
#include <functional>

class KeyWriter;
class KeychainService;
class NoticeLabel;
class QLineEdit;
class QToolButton;
class VendorManager;

// One provider's API key as a masked field with a button that shows it,
// bound to the key store: what is typed is stored at once ("" deletes the
// key), never waiting on the store; the stored key is read back in the
// background; and when the store cannot answer, its sentence shows under
// the field, and what was typed is written again once it answers. The
// settings' provider forms and the first-start guide both use it.
class ApiKeyField : public QWidget {
    Q_OBJECT

public:
    ApiKeyField(AIVendor vendor, KeychainService &keys, const QString &placeholder,
                QWidget *parent = nullptr);

    AIVendor vendor() const { return m_vendor; }
    QLineEdit *lineEdit() const { return m_key; }
    QToolButton *revealButton() const { return m_reveal; }
    NoticeLabel *problem() const { return m_problem; }
    bool isEmpty() const;

    // Shows the stored key, read in the background, unless a key typed is
    // still on its way to the store (which is then asked again if it did
    // not take it).
    void reload();
    // Empties the field and deletes the stored key.
    void clear();
    // Calls done (on context's thread, while context lives) with the stored
    // key once everything typed is stored: "" when there is none or the key
    // store could not tell.
    void withStoredKey(QObject *context, const std::function<void(const QString &key)> &done);
    // Validates the provider's configuration with the key as stored once
    // everything typed is stored (with no key, nothing is validated), then
    // calls done on context's thread while context lives.
    void validateStoredKey(VendorManager &vendors, QObject *context,
                           const std::function<void()> &done);

Q_SIGNALS:
    // The user changed the key.
    void edited(const QString &key);
    // A stored key was read into the field.
    void loaded(const QString &key);
    // Everything typed is stored; keyStored: the last write stored a key
    // (rather than deleting it).
    void written(bool keyStored);

private:
    void setRevealed(bool revealed);
    void showProblem();

    AIVendor m_vendor;
    KeychainService &m_keys;
    KeyWriter *m_writer;
    QLineEdit *m_key;
    QToolButton *m_reveal;
    NoticeLabel *m_problem;
    bool m_typed = false; // since the last read was asked for
    int m_reads = 0;      // the newest read's number; older answers are dropped
};
