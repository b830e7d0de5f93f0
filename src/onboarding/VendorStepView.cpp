// SPDX-License-Identifier: GPL-3.0-or-later
#include "VendorStepView.h"

#include "ApiKeyField.h"
#include "KeychainService.h"
#include "NoticeLabel.h"
#include "OnboardingStyle.h"
#include "SettingsStyle.h"
#include "VendorConfig.h"
#include "VendorManager.h"

#include <QButtonGroup>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

namespace {

constexpr int badgeMarkSize = 14;

} // namespace

OnboardingVendorFormView::OnboardingVendorFormView(AIVendor vendor, VendorManager &vendors,
                                                   KeychainService &keys, QWidget *parent)
    : OnboardingCard(parent), m_vendor(vendor), m_vendors(vendors),
      m_shownKind(vendors.validationStates().value(vendor).kind),
      m_key(new ApiKeyField(vendor, keys, QStringLiteral("Enter your API key"), this)),
      m_save(new QPushButton(this)), m_badgeMark(new QLabel(this)), m_badge(new QLabel(this)),
      m_error(new NoticeLabel(this)), m_linkCaption(new QLabel(this)), m_link(new QLabel(this)),
      m_spinner(new QTimer(this))
{
    setObjectName(QStringLiteral("vendorForm-") + AIVendors::rawValue(vendor));
    QVBoxLayout *layout = contentLayout();
    auto *caption = new QLabel(QStringLiteral("API Key"), this);
    caption->setFont(OnboardingStyle::font(14, QFont::Medium));
    caption->setBuddy(m_key->lineEdit());
    layout->addWidget(caption);
    layout->addWidget(m_key);

    m_save->setObjectName(QStringLiteral("saveAndValidate"));
    m_save->setMinimumWidth(120);
    m_save->setIconSize(QSize(14, 14));
    m_save->setCursor(Qt::PointingHandCursor);
    m_badge->setObjectName(QStringLiteral("validationBadge"));
    m_badge->setFont(OnboardingStyle::font(12));
    m_badgeMark->setFixedSize(badgeMarkSize, badgeMarkSize);
    auto *actions = new QHBoxLayout;
    actions->setSpacing(8);
    actions->addWidget(m_save);
    actions->addSpacing(4);
    actions->addWidget(m_badgeMark);
    actions->addWidget(m_badge);
    actions->addStretch(1);
    layout->addLayout(actions);

    m_error->setObjectName(QStringLiteral("validationError"));
    m_error->setFont(OnboardingStyle::font(12));
    layout->addWidget(m_error);

    const QUrl page(AIVendors::apiKeyPage(vendor));
    auto *where = new QHBoxLayout;
    where->setSpacing(6);
    m_linkCaption->setText(QStringLiteral("Where to get API key:"));
    m_linkCaption->setFont(OnboardingStyle::font(12, QFont::Medium));
    m_link->setObjectName(QStringLiteral("keyPageLink"));
    m_link->setFont(OnboardingStyle::font(12));
    // The desktop's browser opens it.
    m_link->setOpenExternalLinks(true);
    m_link->setTextInteractionFlags(Qt::TextBrowserInteraction);
    m_link->setVisible(page.isValid() && !page.isRelative());
    m_linkCaption->setVisible(m_link->isVisibleTo(this));
    where->addWidget(m_linkCaption);
    where->addWidget(m_link, 1);
    layout->addLayout(where);

    connect(m_save, &QPushButton::clicked, this, &OnboardingVendorFormView::save);
    connect(m_key, &ApiKeyField::edited, this, &OnboardingVendorFormView::updateSaveButton);
    connect(m_key->lineEdit(), &QLineEdit::returnPressed, this, &OnboardingVendorFormView::save);
    connect(m_key, &ApiKeyField::loaded, this, &OnboardingVendorFormView::updateSaveButton);
    connect(&m_vendors, &VendorManager::validationStatesChanged, this,
            &OnboardingVendorFormView::showState);
    connect(m_spinner, &QTimer::timeout, this, [this] {
        m_spinnerStep = (m_spinnerStep + 1) % 12;
        m_save->setIcon(SettingsStyle::spinnerFrame(m_spinnerStep, Qt::white));
    });
    applyColors();
    setSaving(false);
    m_key->reload();
}

void OnboardingVendorFormView::save()
{
    if (m_saving || m_key->isEmpty()) {
        return;
    }
    setSaving(true);
    m_key->withStoredKey(this, [this](const QString &key) {
        if (key.isEmpty()) {
            setSaving(false);
            return;
        }
        m_vendors.validateVendor(m_vendors.configuration(m_vendor)).then(this, [this] {
            setSaving(false);
        });
    });
}

void OnboardingVendorFormView::showState()
{
    const ValidationState state = m_vendors.validationStates().value(m_vendor);
    const QPalette &pal = palette();
    const qreal ratio = devicePixelRatioF();
    switch (state.kind) {
    case ValidationState::Kind::notValidated:
        m_badge->clear();
        m_badgeMark->clear();
        break;
    case ValidationState::Kind::validating:
        m_badge->setText(QStringLiteral("Validating..."));
        setTextColor(m_badge, OnboardingStyle::secondaryTextColor(pal));
        m_badgeMark->clear();
        break;
    case ValidationState::Kind::valid:
        m_badge->setText(QStringLiteral("Valid"));
        setTextColor(m_badge, OnboardingStyle::successColor(pal));
        m_badgeMark->setPixmap(OnboardingStyle::statusMark(true, OnboardingStyle::successColor(pal),
                                                           badgeMarkSize, ratio));
        break;
    case ValidationState::Kind::invalid:
        m_badge->setText(QStringLiteral("Invalid"));
        setTextColor(m_badge, OnboardingStyle::failureColor(pal));
        m_badgeMark->setPixmap(OnboardingStyle::statusMark(
            false, OnboardingStyle::failureColor(pal), badgeMarkSize, ratio));
        break;
    }
    m_badgeMark->setVisible(!m_badgeMark->pixmap().isNull());
    if (state.kind == ValidationState::Kind::invalid && !state.message.isEmpty()) {
        m_error->showNotice(NoticeLabel::Kind::error, QStringLiteral("Error: ") + state.message);
    } else {
        m_error->hide();
    }
    // Only a change to valid counts, not the state the form found.
    const bool becameValid =
        state.kind == ValidationState::Kind::valid && m_shownKind != ValidationState::Kind::valid;
    m_shownKind = state.kind;
    if (becameValid) {
        m_vendors.setDefaultVendor(m_vendor);
        Q_EMIT validated();
    }
}

void OnboardingVendorFormView::setSaving(bool saving)
{
    m_saving = saving;
    if (saving) {
        m_save->setText(QStringLiteral("Validating..."));
        m_spinnerStep = 0;
        m_save->setIcon(SettingsStyle::spinnerFrame(0, Qt::white));
        m_spinner->start(80);
    } else {
        m_spinner->stop();
        // "&&": a single "&" would mark a shortcut letter.
        m_save->setText(QStringLiteral("Save && Validate"));
        m_save->setIcon(idleIcon());
    }
    updateSaveButton();
}

QIcon OnboardingVendorFormView::idleIcon() const
{
    // The check cut out of a disc in the button's text colour.
    return QIcon(OnboardingStyle::statusMark(true, Qt::white, 14, devicePixelRatioF(),
                                             OnboardingStyle::accentColor(palette())));
}

void OnboardingVendorFormView::updateSaveButton()
{
    m_save->setEnabled(!m_saving && !m_key->isEmpty());
}

void OnboardingVendorFormView::applyColors()
{
    const QPalette &pal = palette();
    const QString page = AIVendors::apiKeyPage(m_vendor);
    m_link->setText(QStringLiteral("<a href=\"%1\" style=\"color: %2; text-decoration: none;\">"
                                   "%1</a>")
                        .arg(page.toHtmlEscaped(), OnboardingStyle::accentColor(pal).name()));
    makeSecondary(m_linkCaption);
    OnboardingStyle::makeProminent(m_save);
    if (!m_saving) {
        m_save->setIcon(idleIcon());
    }
    showState();
}

void OnboardingVendorFormView::changeEvent(QEvent *event)
{
    OnboardingCard::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyColors();
    }
}

VendorStepView::VendorStepView(VendorManager &vendors, KeychainService &keys, QWidget *parent)
    : StepView(OnboardingStyle::Symbol::brain, QStringLiteral("Connect AI Provider"),
               QStringLiteral("Choose an AI provider and enter your API key to enable text "
                              "processing."),
               parent),
      m_vendors(vendors), m_keys(keys), m_picker(new QButtonGroup(this)),
      m_segments(new QWidget(this))
{
    m_picker->setExclusive(true);
    m_segments->setObjectName(QStringLiteral("providerPicker"));
    m_segments->setAccessibleName(QStringLiteral("AI Provider"));
    auto *segments = new QHBoxLayout(m_segments);
    segments->setContentsMargins(0, 0, 0, 0);
    segments->setSpacing(0);
    for (const AIVendor vendor : AIVendors::allCases()) {
        auto *segment = new QPushButton(AIVendors::displayName(vendor), m_segments);
        segment->setObjectName(QStringLiteral("segment-") + AIVendors::rawValue(vendor));
        segment->setCheckable(true);
        segment->setCursor(Qt::PointingHandCursor);
        segment->setMinimumWidth(110);
        m_picker->addButton(segment, int(vendor));
        segments->addWidget(segment);
    }
    addContent(m_segments, Qt::AlignHCenter);
    connect(m_picker, &QButtonGroup::idClicked, this,
            [this](int id) { selectVendor(AIVendor(id)); });

    const std::optional<AIVendor> standing = m_vendors.defaultVendor();
    m_hasValidVendor = standing && m_vendors.configuration(*standing).hasAPIKey();
    applyColors();
    selectVendor(AIVendor::openai);
}

void VendorStepView::selectVendor(AIVendor vendor)
{
    m_selected = vendor;
    m_picker->button(int(vendor))->setChecked(true);
    delete m_form;
    m_form = new OnboardingVendorFormView(vendor, m_vendors, m_keys, this);
    connect(m_form, &OnboardingVendorFormView::validated, this, [this] {
        m_hasValidVendor = true;
        Q_EMIT hasValidVendorChanged(true);
    });
    addContent(m_form);
    // A widget added to a shown one stays hidden until told.
    m_form->show();
}

QWidget *VendorStepView::initialFocus() const
{
    return m_form ? m_form->keyField()->lineEdit() : nullptr;
}

void VendorStepView::applyColors()
{
    const QPalette &pal = palette();
    const QColor accent = OnboardingStyle::accentColor(pal);
    const QColor border = OnboardingStyle::separatorColor(pal);
    const QColor face = pal.color(QPalette::Active, QPalette::Base);
    const QColor text = pal.color(QPalette::Active, QPalette::Text);
    const QList<QAbstractButton *> buttons = m_picker->buttons();
    for (int i = 0; i < buttons.size(); ++i) {
        const bool first = i == 0;
        const bool last = i == buttons.size() - 1;
        buttons.at(i)->setStyleSheet(
            QStringLiteral("QPushButton { background: %1; color: %2; border: 1px solid %3;"
                           " border-left-width: %6px; padding: 5px 14px;"
                           " border-top-left-radius: %7px; border-bottom-left-radius: %7px;"
                           " border-top-right-radius: %8px; border-bottom-right-radius: %8px; }"
                           "QPushButton:checked { background: %4; color: %5; border-color: %4; }"
                           "QPushButton:focus { outline: none; }")
                .arg(face.name(), text.name(), border.name(), accent.name(),
                     QColor(Qt::white).name())
                .arg(first ? 1 : 0)
                .arg(first ? 6 : 0)
                .arg(last ? 6 : 0));
    }
}
