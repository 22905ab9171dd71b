// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/platform/gnome_custom_shortcut.h"

#include <algorithm>
#include <gio/gio.h>
#include <initializer_list>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include <QLatin1String>
#include <QLibrary>
#include <QStringList>
#include <QtGlobal>

namespace zemvar::app::platform {
namespace {

constexpr const char* listSchemaId = "org.gnome.settings-daemon.plugins.media-keys";
constexpr const char* entrySchemaId =
    "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";
constexpr const char* listKey = "custom-keybindings";
constexpr const char* entryPath =
    "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/zemvar-notes/";
constexpr const char* entryName = "Show or hide Zemvar Notes";

// GIO is loaded on first use: only GNOME sessions without a shortcut service need it, and
// linking it would make every start load it and the libraries it needs (about 1 MB of memory).
struct Gio {
    decltype(&::g_object_unref) g_object_unref;
    decltype(&::g_settings_schema_unref) g_settings_schema_unref;
    decltype(&::g_strfreev) g_strfreev;
    decltype(&::g_settings_schema_source_get_default) g_settings_schema_source_get_default;
    decltype(&::g_settings_schema_source_lookup) g_settings_schema_source_lookup;
    decltype(&::g_settings_schema_has_key) g_settings_schema_has_key;
    decltype(&::g_settings_schema_get_key) g_settings_schema_get_key;
    decltype(&::g_variant_type_equal) g_variant_type_equal;
    decltype(&::g_settings_schema_key_get_value_type) g_settings_schema_key_get_value_type;
    decltype(&::g_settings_schema_key_unref) g_settings_schema_key_unref;
    decltype(&::g_settings_new_full) g_settings_new_full;
    decltype(&::g_settings_get_strv) g_settings_get_strv;
    decltype(&::g_settings_set_strv) g_settings_set_strv;
    decltype(&::g_settings_set_string) g_settings_set_string;
    decltype(&::g_settings_sync) g_settings_sync;
    decltype(&::g_settings_reset) g_settings_reset;
};

std::optional<Gio> loadGio() {
    QLibrary library(QStringLiteral("gio-2.0"), 0);
    if (!library.load()) {
        return std::nullopt;
    }
    Gio gio{};
    bool resolved = true;
    const auto resolve = [&](auto& function, const char* name) {
        function =
            reinterpret_cast<std::remove_reference_t<decltype(function)>>(library.resolve(name));
        resolved = resolved && function != nullptr;
    };
    resolve(gio.g_object_unref, "g_object_unref");
    resolve(gio.g_settings_schema_unref, "g_settings_schema_unref");
    resolve(gio.g_strfreev, "g_strfreev");
    resolve(gio.g_settings_schema_source_get_default, "g_settings_schema_source_get_default");
    resolve(gio.g_settings_schema_source_lookup, "g_settings_schema_source_lookup");
    resolve(gio.g_settings_schema_has_key, "g_settings_schema_has_key");
    resolve(gio.g_settings_schema_get_key, "g_settings_schema_get_key");
    resolve(gio.g_variant_type_equal, "g_variant_type_equal");
    resolve(gio.g_settings_schema_key_get_value_type, "g_settings_schema_key_get_value_type");
    resolve(gio.g_settings_schema_key_unref, "g_settings_schema_key_unref");
    resolve(gio.g_settings_new_full, "g_settings_new_full");
    resolve(gio.g_settings_get_strv, "g_settings_get_strv");
    resolve(gio.g_settings_set_strv, "g_settings_set_strv");
    resolve(gio.g_settings_set_string, "g_settings_set_string");
    resolve(gio.g_settings_sync, "g_settings_sync");
    resolve(gio.g_settings_reset, "g_settings_reset");
    // The library stays loaded: QLibrary unloads only when asked to.
    return resolved ? std::optional(gio) : std::nullopt;
}

// The loaded functions, or null when GIO is not installed.
const Gio* gio() {
    static const std::optional<Gio> loaded = loadGio();
    return loaded ? &*loaded : nullptr;
}

struct ObjectUnref {
    void operator()(gpointer object) const { gio()->g_object_unref(object); }
};
struct SchemaUnref {
    void operator()(GSettingsSchema* schema) const { gio()->g_settings_schema_unref(schema); }
};
struct StrvFree {
    void operator()(gchar** strings) const { gio()->g_strfreev(strings); }
};
using Settings = std::unique_ptr<GSettings, ObjectUnref>;

// The settings of schema `id` at `path` (null for a schema with a path of its own), when the
// schema is installed with each of `keys` of its type; null otherwise. Looked up first, because
// GSettings aborts the program when asked for a schema that is not installed.
Settings open(const char* id, const char* path,
              std::initializer_list<std::pair<const char*, const GVariantType*>> keys) {
    if (gio() == nullptr) {
        return nullptr;
    }
    GSettingsSchemaSource* source = gio()->g_settings_schema_source_get_default(); // not owned
    if (source == nullptr) {
        return nullptr;
    }
    const std::unique_ptr<GSettingsSchema, SchemaUnref> schema(
        gio()->g_settings_schema_source_lookup(source, id, TRUE));
    if (!schema) {
        return nullptr;
    }
    for (const auto& [name, type] : keys) {
        if (!gio()->g_settings_schema_has_key(schema.get(), name)) {
            return nullptr;
        }
        GSettingsSchemaKey* key = gio()->g_settings_schema_get_key(schema.get(), name);
        const bool typed =
            gio()->g_variant_type_equal(gio()->g_settings_schema_key_get_value_type(key), type);
        gio()->g_settings_schema_key_unref(key);
        if (!typed) {
            return nullptr;
        }
    }
    return Settings(gio()->g_settings_new_full(schema.get(), nullptr, path));
}

Settings openList() {
    return open(listSchemaId, nullptr, {{listKey, G_VARIANT_TYPE_STRING_ARRAY}});
}

Settings openEntry() {
    return open(entrySchemaId, entryPath,
                {{"name", G_VARIANT_TYPE_STRING},
                 {"command", G_VARIANT_TYPE_STRING},
                 {"binding", G_VARIANT_TYPE_STRING}});
}

// The paths listed in `list`, ours left out; whether ours was among them.
std::pair<std::vector<QByteArray>, bool> othersListed(GSettings* list) {
    const std::unique_ptr<gchar*, StrvFree> paths(gio()->g_settings_get_strv(list, listKey));
    std::vector<QByteArray> others;
    bool ours = false;
    for (gchar** path = paths.get(); *path != nullptr; ++path) {
        if (qstrcmp(*path, entryPath) == 0) {
            ours = true;
        } else {
            others.emplace_back(*path);
        }
    }
    return {std::move(others), ours};
}

bool writeList(GSettings* list, const std::vector<QByteArray>& paths) {
    std::vector<const gchar*> strings;
    for (const QByteArray& path : paths) {
        strings.push_back(path.constData());
    }
    strings.push_back(nullptr);
    return gio()->g_settings_set_strv(list, listKey, strings.data());
}

const QString notInstalled =
    QStringLiteral("GNOME's keyboard shortcut settings are not installed on this system.");
const QString readOnly =
    QStringLiteral("Could not change GNOME's keyboard shortcuts: its settings cannot be written.");

} // namespace

namespace gnome_custom_shortcut {

bool isAvailable() {
    const QStringList desktops =
        qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(QLatin1Char(':'));
    return desktops.contains(QLatin1String("GNOME")) && openList() && openEntry();
}

bool isRegistered() {
    const Settings list = openList();
    return list && othersListed(list.get()).second;
}

std::optional<QString> add(const QString& command, const QString& binding) {
    const Settings list = openList();
    const Settings entry = openEntry();
    if (!list || !entry) {
        return notInstalled;
    }
    // The entry is complete before GNOME finds it in the list.
    const std::pair<const char*, QByteArray> values[] = {
        {"name", entryName}, {"command", command.toUtf8()}, {"binding", binding.toUtf8()}};
    for (const auto& [key, value] : values) {
        if (!gio()->g_settings_set_string(entry.get(), key, value.constData())) {
            return readOnly;
        }
    }
    if (auto [paths, listed] = othersListed(list.get()); !listed) {
        paths.emplace_back(entryPath);
        if (!writeList(list.get(), paths)) {
            return readOnly;
        }
    }
    gio()->g_settings_sync();
    // A backend that refuses later (dconf's service) takes the change back by now.
    if (!othersListed(list.get()).second) {
        return readOnly;
    }
    return std::nullopt;
}

std::optional<QString> remove() {
    const Settings list = openList();
    const Settings entry = openEntry();
    if (!list || !entry) {
        return notInstalled;
    }
    const auto [others, listed] = othersListed(list.get());
    if (listed && !writeList(list.get(), others)) {
        return readOnly;
    }
    for (const char* key : {"name", "command", "binding"}) {
        gio()->g_settings_reset(entry.get(), key);
    }
    gio()->g_settings_sync();
    if (othersListed(list.get()).second) {
        return readOnly;
    }
    return std::nullopt;
}

} // namespace gnome_custom_shortcut

QString gnomeAccelerator(Qt::KeyboardModifiers modifiers, Qt::Key key) {
    Q_ASSERT(key >= Qt::Key_A && key <= Qt::Key_Z);
    QString accelerator;
    const std::pair<Qt::KeyboardModifier, const char*> names[] = {
        {Qt::ControlModifier, "<Control>"},
        {Qt::AltModifier, "<Alt>"},
        {Qt::ShiftModifier, "<Shift>"},
        {Qt::MetaModifier, "<Super>"},
    };
    for (const auto& [modifier, name] : names) {
        if (modifiers.testFlag(modifier)) {
            accelerator += QLatin1String(name);
        }
    }
    return accelerator + QChar(u'a' + (key - Qt::Key_A));
}

QString toggleCommand(const QString& executable) {
    if (executable == QLatin1String("/usr/bin/zemvar-notes")) {
        return QStringLiteral("zemvar-notes --toggle");
    }
    // Desktops split the command as a shell would: quote a path with other characters.
    const bool plain = std::all_of(executable.cbegin(), executable.cend(), [](QChar c) {
        return (c.isLetterOrNumber() && c.unicode() < 128) ||
               QStringView(u"/._-+,:@%=").contains(c);
    });
    QString quoted = executable;
    if (!plain) {
        quoted = QLatin1Char('\'') + quoted.replace(QLatin1Char('\''), QLatin1String("'\\''")) +
                 QLatin1Char('\'');
    }
    return quoted + QStringLiteral(" --toggle");
}

} // namespace zemvar::app::platform
