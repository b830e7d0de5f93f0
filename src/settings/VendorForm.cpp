// SPDX-License-Identifier: GPL-3.0-or-later
#include "VendorForm.h"

#include "APIError.h"
#include "ApiKeyField.h"
#include "KeychainService.h"
#include "NoticeLabel.h"
#include "SettingsStyle.h"
#include "ToggleSwitch.h"
#include "VendorManager.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QEvent>
#include <QFuture>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// A caption over its field, close together; blocks stand apart by the
// form's spacing.
QVBoxLayout *fieldBlock(QLabel *label, QLayout *field)
{
    auto *block = new QVBoxLayout;
    block->setSpacing(5);
    block->addWidget(label);
    block->addLayout(field);
    return block;
}

QVBoxLayout *fieldBlock(QLabel *label, QWidget *field)
{
    auto *row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(field);
    return fieldBlock(label, row);
}

} // namespace

VendorForm::VendorForm(AIVendor vendor, VendorManager &vendors, KeychainService &keys,
                       QWidget *parent)
    : QWidget(parent), m_vendor(vendor), m_vendors(vendors),
      m_key(new ApiKeyField(vendor, keys, tr("API Key"), this)), m_host(new QLineEdit(this)),
      m_subPath(new QLineEdit(this)), m_model(new QComboBox(this)),
      m_default(new ToggleSwitch(tr("Default Vendor"), this)), m_save(new QPushButton(this)),
      m_outcome(new NoticeLabel(this)), m_spinner(new QTimer(this))
{
    setObjectName(QStringLiteral("vendorForm-") + AIVendors::rawValue(vendor));
    setForegroundRole(QPalette::Text);
    buildLayout();
    connectFields();
    styleFields();
    setSaving(false);
}

QLineEdit *VendorForm::keyField() const
{
    return m_key->lineEdit();
}

QToolButton *VendorForm::revealButton() const
{
    return m_key->revealButton();
}

NoticeLabel *VendorForm::keyProblem() const
{
    return m_key->problem();
}

void VendorForm::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        styleFields();
    }
}

void VendorForm::styleFields()
{
    // The form is drawn in the text background, the fields' own colour. A
    // style that outlines fields in a shade of the window colour (Fusion)
    // leaves them invisible on a dark one; a fill a little towards the text
    // colour sets them apart there, and is the plain text background in a
    // light palette.
    const QPalette own = palette();
    const QColor fill = SettingsStyle::mixed(own.color(QPalette::Base), own.color(QPalette::Text),
                                             SettingsStyle::isDark(own) ? 0.07 : 0.0);
    m_save->setStyleSheet(SettingsStyle::prominentButtonSheet(own));
    for (QWidget *field :
         {static_cast<QWidget *>(m_key->lineEdit()), static_cast<QWidget *>(m_host),
          static_cast<QWidget *>(m_subPath), static_cast<QWidget *>(m_model)}) {
        QPalette fieldPalette = field->palette();
        fieldPalette.setColor(QPalette::Base, fill);
        field->setPalette(fieldPalette);
    }
}

void VendorForm::buildLayout()
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(SettingsStyle::formPadding, SettingsStyle::formPadding,
                               SettingsStyle::formPadding, SettingsStyle::formPadding);
    layout->setSpacing(SettingsStyle::formSpacing);

    auto *heading = new QLabel(AIVendors::displayName(m_vendor), this);
    heading->setFont(SettingsStyle::headingFont());
    heading->setForegroundRole(QPalette::Text);
    layout->addWidget(heading);

    layout->addLayout(
        fieldBlock(SettingsStyle::fieldCaption(tr("API Key"), m_key->lineEdit(), this), m_key));

    m_host->setPlaceholderText(tr("Host"));
    layout->addLayout(fieldBlock(SettingsStyle::fieldCaption(tr("Host"), m_host, this), m_host));
    m_subPath->setPlaceholderText(tr("Sub Path"));
    layout->addLayout(
        fieldBlock(SettingsStyle::fieldCaption(tr("Sub Path"), m_subPath, this), m_subPath));

    m_model->setEditable(true);
    m_model->setInsertPolicy(QComboBox::NoInsert);
    // An inline completion would turn "gpt-4" into a listed "gpt-4o" as it
    // is typed; the list is one click or Alt+Down away.
    m_model->setCompleter(nullptr);
    m_model->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_model->setMinimumContentsLength(16);
    layout->addLayout(
        fieldBlock(SettingsStyle::fieldCaption(tr("Default Model"), m_model, this), m_model));

    layout->addWidget(m_default, 0, Qt::AlignLeft);

    m_save->setObjectName(QStringLiteral("saveButton"));
    m_save->setIconSize(QSize(14, 14));
    m_save->setMinimumWidth(100);
    m_save->setDefault(false);
    layout->addWidget(m_save, 0, Qt::AlignLeft);
    layout->addWidget(m_outcome);
    layout->addStretch(1);
}

void VendorForm::connectFields()
{
    connect(m_key, &ApiKeyField::edited, this, &VendorForm::updateSaveButton);
    connect(m_key, &ApiKeyField::written, this, [this](bool keyStored) {
        if (keyStored) {
            fetchModels();
        }
    });
    connect(m_key, &ApiKeyField::loaded, this, [this](const QString &key) {
        updateSaveButton();
        if (!key.trimmed().isEmpty()) {
            fetchModels();
        }
    });
    connect(m_host, &QLineEdit::textEdited, this, [this](const QString &text) {
        editConfiguration([&text](VendorConfig &config) { config.apiHost = text; });
    });
    connect(m_subPath, &QLineEdit::textEdited, this, [this](const QString &text) {
        editConfiguration([&text](VendorConfig &config) { config.subPath = text; });
    });
    // Typed or picked; the list is filled with signals blocked.
    connect(m_model, &QComboBox::editTextChanged, this, [this](const QString &text) {
        editConfiguration([&text](VendorConfig &config) { config.selectedModel = text; });
    });
    connect(m_default, &ToggleSwitch::clicked, this, [this](bool on) {
        if (on) {
            m_vendors.setDefaultVendor(m_vendor);
        } else if (m_vendors.defaultVendor() == m_vendor) {
            m_vendors.setDefaultVendor(std::nullopt);
        }
        showDefault();
    });
    connect(m_save, &QPushButton::clicked, this, &VendorForm::save);
    connect(m_spinner, &QTimer::timeout, this, [this] {
        m_spinnerStep = (m_spinnerStep + 1) % 12;
        m_save->setIcon(SettingsStyle::spinnerFrame(
            m_spinnerStep, palette().color(QPalette::Disabled, QPalette::ButtonText)));
    });

    connect(&m_vendors, &VendorManager::validationStatesChanged, this, &VendorForm::showValidation);
    connect(&m_vendors, &VendorManager::defaultVendorChanged, this, &VendorForm::showDefault);
    connect(&m_vendors, &VendorManager::offeredModelsChanged, this, [this](AIVendor vendor) {
        if (vendor == m_vendor) {
            showModels(m_model->currentText());
        }
    });
}

void VendorForm::editConfiguration(const std::function<void(VendorConfig &)> &change)
{
    VendorConfig config = m_vendors.configuration(m_vendor);
    change(config);
    m_vendors.updateConfiguration(m_vendor, config);
}

void VendorForm::reload()
{
    const VendorConfig config = m_vendors.configuration(m_vendor);
    m_host->setText(config.apiHost);
    m_subPath->setText(config.subPath);
    showModels(config.selectedModel);
    showDefault();
    showValidation();
    m_key->reload();
}

void VendorForm::showValidation()
{
    const ValidationState state = m_vendors.validationStates().value(m_vendor);
    if (state.kind == ValidationState::Kind::invalid && !state.message.isEmpty()) {
        m_outcome->showNotice(NoticeLabel::Kind::error, tr("Error: ") + state.message);
    } else if (state.kind == ValidationState::Kind::valid) {
        m_outcome->showNotice(NoticeLabel::Kind::success, tr("Configuration saved successfully!"));
    } else {
        m_outcome->hide();
    }
}

void VendorForm::showDefault()
{
    m_default->setChecked(m_vendors.defaultVendor() == m_vendor);
}

void VendorForm::showModels(const QString &current)
{
    const QSignalBlocker blocker(m_model);
    const int cursor = m_model->lineEdit()->cursorPosition();
    m_model->clear();
    m_model->addItems(m_vendors.offeredModels(m_vendor));
    m_model->setCurrentIndex(m_model->findText(current));
    m_model->setEditText(current);
    m_model->lineEdit()->setCursorPosition(cursor);
}

void VendorForm::updateSaveButton()
{
    m_save->setEnabled(!m_saving && !m_key->isEmpty());
}

void VendorForm::setSaving(bool saving)
{
    m_saving = saving;
    if (saving) {
        m_save->setText(tr("Saving..."));
        m_spinnerStep = 0;
        m_save->setIcon(SettingsStyle::spinnerFrame(
            0, palette().color(QPalette::Disabled, QPalette::ButtonText)));
        m_spinner->start(80);
    } else {
        m_spinner->stop();
        m_save->setText(tr("Save"));
        m_save->setIcon(SettingsStyle::icon(SettingsStyle::Icon::check));
    }
    updateSaveButton();
}

void VendorForm::save()
{
    if (m_saving || m_key->isEmpty()) {
        return;
    }
    setSaving(true);
    m_key->validateStoredKey(m_vendors, this, [this] { setSaving(false); });
}

void VendorForm::removeKey()
{
    m_key->clear();
    QMap<AIVendor, ValidationState> states = m_vendors.validationStates();
    states.insert(m_vendor, ValidationState::notValidated());
    m_vendors.setValidationStates(states);
    updateSaveButton();
}

void VendorForm::fetchModels()
{
    if (m_fetching) {
        m_fetchAgain = true;
        return;
    }
    m_fetching = true;
    // The form may close first (Qt 6.4 asserts when a continuation's
    // context object is gone): the application object is the context.
    const QPointer<VendorForm> self(this);
    m_vendors.fetchModels(m_vendor).then(qApp, [self](const QStringList &) {
        if (!self) {
            return;
        }
        self->m_fetching = false;
        if (self->m_fetchAgain) {
            self->m_fetchAgain = false;
            self->fetchModels();
        }
    });
}

void VendorForm::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawRoundedRect(QRectF(rect()), SettingsStyle::formRadius, SettingsStyle::formRadius);
}
