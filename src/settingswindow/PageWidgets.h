// Small building blocks every settings page uses: headings, help texts, section boxes and the warning mark.
#pragma once

#include <QApplication>
#include <QFrame>
#include <QLabel>
#include <QStyle>
#include <QVBoxLayout>

namespace tamsinvale::PageWidgets {

inline QLabel* heading(const QString& text, QWidget* parent = nullptr)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 1.35);
    font.setBold(true);
    label->setFont(font);
    return label;
}

inline QLabel* sectionTitle(const QString& text, QWidget* parent = nullptr)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}

// Secondary, wrapped text under a control.
inline QLabel* help(const QString& text, QWidget* parent = nullptr)
{
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    label->setForegroundRole(QPalette::PlaceholderText);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.92);
    label->setFont(font);
    return label;
}

// The orange warning triangle (caption size), with its explanation as the tooltip.
inline QLabel* warningMark(QWidget* parent = nullptr)
{
    auto* label = new QLabel(parent);
    label->setText(QStringLiteral("⚠"));
    label->setStyleSheet(QStringLiteral("color: #e8860c; font-weight: bold;"));
    label->setVisible(false);
    return label;
}

// A page's outer layout: margins, a heading and room for sections below.
inline QVBoxLayout* pageLayout(QWidget* page, const QString& title)
{
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(24, 18, 24, 18);
    layout->setSpacing(10);
    layout->addWidget(heading(title, page));
    return layout;
}

inline QFrame* separator(QWidget* parent = nullptr)
{
    auto* line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

}  // namespace tamsinvale::PageWidgets

#include <QComboBox>
#include <QHBoxLayout>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>
#include <functional>

#include "AppChoice.h"

namespace tamsinvale {

// A list of chosen applications with "Remove" and an "Add an app…" menu of the others; edits go to the callbacks.
struct AppListEditor {
    QWidget* widget = nullptr;
    QListWidget* list = nullptr;
    QPushButton* remove = nullptr;
    QComboBox* add = nullptr;
    std::function<void(const QString& key, bool chosen)> onChange;

    explicit AppListEditor(QWidget* parent)
    {
        widget = new QWidget(parent);
        auto* layout = new QVBoxLayout(widget);
        layout->setContentsMargins(0, 0, 0, 0);
        list = new QListWidget(widget);
        list->setMaximumHeight(120);
        layout->addWidget(list);
        auto* buttons = new QHBoxLayout;
        add = new QComboBox(widget);
        add->setMinimumWidth(220);
        remove = new QPushButton(QStringLiteral("Remove"), widget);
        buttons->addWidget(add);
        buttons->addWidget(remove);
        buttons->addStretch(1);
        layout->addLayout(buttons);
        QObject::connect(remove, &QPushButton::clicked, widget, [this] {
            if (QListWidgetItem* item = list->currentItem(); item && onChange)
                onChange(item->data(Qt::UserRole).toString(), false);
        });
        QObject::connect(add, qOverload<int>(&QComboBox::activated), widget, [this](int index) {
            const QString key = add->itemData(index).toString();
            if (!key.isEmpty() && onChange)
                onChange(key, true);
        });
    }

    void show(const QList<AppChoice>& chosen, const QList<AppChoice>& others)
    {
        const QSignalBlocker blockList(list);
        const QSignalBlocker blockAdd(add);
        const QString current = list->currentItem() ? list->currentItem()->data(Qt::UserRole).toString() : QString();
        list->clear();
        for (const AppChoice& app : chosen) {
            auto* item = new QListWidgetItem(app.name == app.id ? app.name : app.name + QStringLiteral("  (") + app.id
                                                 + QStringLiteral(")"),
                                             list);
            item->setData(Qt::UserRole, app.id);
            if (app.id == current)
                list->setCurrentItem(item);
        }
        add->clear();
        add->addItem(QStringLiteral("Add an app…"), QString());
        for (const AppChoice& app : others)
            add->addItem(app.name, app.id);
        remove->setEnabled(!chosen.isEmpty());
    }
};

}  // namespace tamsinvale
