// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/model/settings_key_value_store.h"

#include "app/model/qt_text.h"

namespace zemvar::app {

SettingsKeyValueStore::Value SettingsKeyValueStore::value(const std::string& key) const {
    const QVariant stored = m_settings.value(toQString(key));
    if (!stored.isValid()) {
        return std::monostate();
    }
    switch (stored.typeId()) {
    case QMetaType::Bool:
        return stored.toBool();
    case QMetaType::QString: {
        const QString text = stored.toString();
        if (text == QLatin1String("true") || text == QLatin1String("false")) {
            return text == QLatin1String("true");
        }
        return toStdString(text);
    }
    default:
        return Other();
    }
}

void SettingsKeyValueStore::setBool(const std::string& key, bool value) {
    m_settings.setValue(toQString(key), value);
    m_settings.sync();
}

void SettingsKeyValueStore::setString(const std::string& key, const std::string& value) {
    m_settings.setValue(toQString(key), toQString(value));
    m_settings.sync();
}

void SettingsKeyValueStore::remove(const std::string& key) {
    m_settings.remove(toQString(key));
    m_settings.sync();
}

} // namespace zemvar::app
