// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/labelled_picker.h"

#include <QAbstractItemView>
#include <QAccessibleWidget>

namespace zemvar::app {

namespace {

// What Qt's own interface of a combo box offers (the list as its child, opening it as its
// action), with the label as the name.
class LabelledPickerAccessible : public QAccessibleWidget {
public:
    explicit LabelledPickerAccessible(QWidget* widget)
        : QAccessibleWidget(widget, QAccessible::ComboBox) {}

    QString text(QAccessible::Text type) const override {
        return type == QAccessible::Value ? picker()->currentText() : QAccessibleWidget::text(type);
    }
    int childCount() const override { return 1; }
    QAccessibleInterface* child(int index) const override {
        return index == 0 ? QAccessible::queryAccessibleInterface(picker()->view()) : nullptr;
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        return child != nullptr && child->object() == picker()->view() ? 0 : -1;
    }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QStringList actionNames() const override { return {showMenuAction(), pressAction()}; }
    void doAction(const QString& action) override {
        if (action != showMenuAction() && action != pressAction()) {
            return;
        }
        if (picker()->view()->isVisible()) {
            picker()->hidePopup();
        } else {
            picker()->showPopup();
        }
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

private:
    QComboBox* picker() const { return static_cast<QComboBox*>(object()); }
};

QAccessibleInterface* labelledPickerFactory(const QString& className, QObject* object) {
    if (className == QLatin1String(LabelledPicker::staticMetaObject.className()) &&
        object->isWidgetType()) {
        return new LabelledPickerAccessible(static_cast<QWidget*>(object));
    }
    return nullptr;
}

} // namespace

LabelledPicker::LabelledPicker(QWidget* parent)
    : QComboBox(parent) {
    static const bool installed = [] {
        QAccessible::installFactory(labelledPickerFactory);
        return true;
    }();
    Q_UNUSED(installed);
}

} // namespace zemvar::app
