// SPDX-License-Identifier: GPL-3.0-or-later
#include "VendorsTab.h"

#include "SettingsStyle.h"
#include "VendorForm.h"

#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QVBoxLayout>

VendorsTab::VendorsTab(VendorManager &vendors, KeychainService &keys, QWidget *parent)
    : QWidget(parent), m_list(new QListWidget(this)), m_forms(new QStackedWidget),
      m_removeKey(new QPushButton(tr("Remove Key"), this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_list->setFixedWidth(SettingsStyle::sidebarWidth);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setAccessibleName(tr("Providers"));
    // The sidebar sits on the window's colour; the form on the text colour.
    m_list->viewport()->setBackgroundRole(QPalette::Window);
    m_list->setSpacing(2);
    m_list->setStyleSheet(QStringLiteral("QListWidget { padding: 8px; }"
                                         "QListWidget::item { padding: 6px 8px; }"));
    for (AIVendor vendor : AIVendors::allCases()) {
        auto *item = new QListWidgetItem(AIVendors::displayName(vendor), m_list);
        item->setData(Qt::UserRole, AIVendors::rawValue(vendor));
        auto *form = new VendorForm(vendor, vendors, keys);
        m_forms->addWidget(form);
    }
    layout->addWidget(m_list);

    auto *divider = new QFrame(this);
    divider->setFrameShape(QFrame::VLine);
    divider->setFrameShadow(QFrame::Sunken);
    layout->addWidget(divider);

    auto *detail = new QVBoxLayout;
    detail->setContentsMargins(16, 16, 16, 12);
    detail->setSpacing(10);
    auto *scroll = new QScrollArea(this);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->viewport()->setBackgroundRole(QPalette::Window);
    scroll->setWidget(m_forms);
    detail->addWidget(scroll, 1);

    m_removeKey->setFont(SettingsStyle::captionFont());
    m_removeKey->setMinimumWidth(100);
    m_removeKey->setIconSize(QSize(14, 14));
    m_removeKey->setToolTip(tr("Delete the stored API key of the selected provider"));
    styleRemoveKey();
    auto *bottom = new QHBoxLayout;
    bottom->addStretch(1);
    bottom->addWidget(m_removeKey);
    detail->addLayout(bottom);
    layout->addLayout(detail, 1);

    connect(m_list, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row < 0) {
            return;
        }
        m_forms->setCurrentIndex(row);
        currentForm()->reload();
    });
    connect(m_removeKey, &QPushButton::clicked, this, [this] { currentForm()->removeKey(); });
    m_list->setCurrentRow(0);
}

AIVendor VendorsTab::selectedVendor() const
{
    return currentForm()->vendor();
}

void VendorsTab::selectVendor(AIVendor vendor)
{
    m_list->setCurrentRow(int(AIVendors::allCases().indexOf(vendor)));
}

VendorForm *VendorsTab::form(AIVendor vendor) const
{
    return qobject_cast<VendorForm *>(m_forms->widget(int(AIVendors::allCases().indexOf(vendor))));
}

VendorForm *VendorsTab::currentForm() const
{
    return qobject_cast<VendorForm *>(m_forms->currentWidget());
}

void VendorsTab::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    currentForm()->reload();
}

void VendorsTab::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange) {
        styleRemoveKey();
    }
}

void VendorsTab::styleRemoveKey()
{
    // Red text and icon: it deletes, at once. Set on the button's own
    // palette, so it follows the tab's.
    const QColor red = SettingsStyle::errorColor(palette());
    QPalette pal = m_removeKey->palette();
    if (pal.color(QPalette::ButtonText) != red) {
        pal.setColor(QPalette::ButtonText, red);
        m_removeKey->setPalette(pal);
    }
    m_removeKey->setIcon(SettingsStyle::icon(SettingsStyle::Icon::trash, red));
}
