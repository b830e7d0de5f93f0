// SPDX-License-Identifier: GPL-3.0-or-later
#include "ApiKeyField.h"

#include "APIError.h"
#include "KeyWriter.h"
#include "KeychainService.h"
#include "NoticeLabel.h"
#include "SettingsStyle.h"
#include "VendorManager.h"

#include <QCoreApplication>
#include <QFuture>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPointer>
#include <QToolButton>
#include <QVBoxLayout>

ApiKeyField::ApiKeyField(AIVendor vendor, KeychainService &keys, const QString &placeholder,
                         QWidget *parent)
    : QWidget(parent), m_vendor(vendor), m_keys(keys), m_writer(new KeyWriter(keys, vendor, this)),
      m_key(new QLineEdit(this)), m_reveal(new QToolButton(this)), m_problem(new NoticeLabel(this))
{
    m_key->setEchoMode(QLineEdit::Password);
    m_key->setPlaceholderText(placeholder);
    setFocusProxy(m_key);
    m_reveal->setCheckable(true);
    m_reveal->setAutoRaise(true);
    m_reveal->setIconSize(QSize(16, 16));
    m_reveal->setCursor(Qt::ArrowCursor);
    setRevealed(false);
    m_problem->setFramed(false);
    m_problem->setFont(SettingsStyle::captionFont());

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(5);
    auto *row = new QHBoxLayout;
    row->setSpacing(4);
    row->addWidget(m_key);
    row->addWidget(m_reveal);
    layout->addLayout(row);
    layout->addWidget(m_problem);

    connect(m_reveal, &QToolButton::toggled, this, &ApiKeyField::setRevealed);
    connect(m_key, &QLineEdit::textEdited, this, [this](const QString &key) {
        m_typed = true;
        m_writer->write(key);
        Q_EMIT edited(key);
    });
    connect(m_writer, &KeyWriter::idle, this, [this](bool succeeded, bool keyStored) {
        if (succeeded) {
            Q_EMIT written(keyStored);
        }
    });
    connect(&m_keys, &KeychainService::presenceChanged, this, [this] {
        showProblem();
        // The key store answers again: what it did not take is written now.
        if (m_keys.problem().isEmpty() && m_writer->isIdle()) {
            m_writer->retry();
        }
    });
}

bool ApiKeyField::isEmpty() const
{
    return m_key->text().isEmpty();
}

void ApiKeyField::reload()
{
    showProblem();
    if (m_writer->hasUnwritten()) {
        // The key store did not take what was typed: it is asked again.
        m_writer->retry();
        return;
    }
    if (!m_writer->isIdle()) {
        // The field holds what was typed last, which is still on its way.
        return;
    }
    m_typed = false;
    const int read = ++m_reads;
    // The field may close before the key store answers: the continuations
    // run on the application object and look for the field themselves (Qt
    // 6.4 asserts when a continuation's context object is gone).
    const QPointer<ApiKeyField> self(this);
    m_keys.keyForRequest(m_vendor)
        .then(qApp,
              [self, read](const QString &key) {
                  if (!self || read != self->m_reads || self->m_typed) {
                      return;
                  }
                  self->m_key->setText(key);
                  Q_EMIT self->loaded(key);
              })
        // The key store's sentence shows through presenceChanged.
        .onFailed(qApp, [](const KeyStoreError &) {});
}

void ApiKeyField::clear()
{
    // A read under way must not bring the key back into the field.
    m_typed = true;
    m_key->clear();
    m_writer->write(QString());
}

void ApiKeyField::withStoredKey(QObject *context,
                                const std::function<void(const QString &key)> &done)
{
    const QPointer<QObject> guard(context);
    const QPointer<ApiKeyField> self(this);
    const auto read = [this, self, guard, done] {
        m_keys.keyForRequest(m_vendor)
            .then(qApp,
                  [self, guard, done](const QString &key) {
                      if (self && guard) {
                          done(key);
                      }
                  })
            .onFailed(qApp, [self, guard, done](const KeyStoreError &) {
                if (self && guard) {
                    done(QString());
                }
            });
    };
    if (m_writer->isIdle()) {
        read();
    } else {
        // The key as typed last is read once it is stored.
        connect(m_writer, &KeyWriter::idle, this, read, Qt::SingleShotConnection);
    }
}

void ApiKeyField::validateStoredKey(VendorManager &vendors, QObject *context,
                                    const std::function<void()> &done)
{
    const QPointer<QObject> guard(context);
    withStoredKey(context, [this, &vendors, guard, done](const QString &key) {
        if (key.isEmpty()) {
            done();
            return;
        }
        const QPointer<ApiKeyField> self(this);
        vendors.validateVendor(vendors.configuration(m_vendor)).then(qApp, [self, guard, done] {
            if (self && guard) {
                done();
            }
        });
    });
}

void ApiKeyField::showProblem()
{
    const QString problem = m_keys.problem();
    if (problem.isEmpty()) {
        m_problem->hide();
    } else {
        m_problem->showNotice(NoticeLabel::Kind::error, problem);
    }
}

void ApiKeyField::setRevealed(bool revealed)
{
    m_key->setEchoMode(revealed ? QLineEdit::Normal : QLineEdit::Password);
    m_reveal->setIcon(
        SettingsStyle::icon(revealed ? SettingsStyle::Icon::eyeOff : SettingsStyle::Icon::eye));
    const QString action = revealed ? tr("Hide API key") : tr("Show API key");
    m_reveal->setToolTip(action);
    m_reveal->setAccessibleName(action);
}
