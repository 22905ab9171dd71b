// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_root_view.h"

#include "app/editor/app_icons.h"
#include "app/editor/editor_colors.h"
#include "app/editor/labelled_picker.h"
#include "app/editor/note_editor_view.h"
#include "app/editor/note_markdown_preview.h"
#include "app/editor/view_switches.h"
#include "app/model/app_settings.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_sidebar.h"

#include <array>

#include <QActionGroup>
#include <QButtonGroup>
#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPushButton>
#include <QStackedWidget>
#include <QStyleHints>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWindow>

namespace zemvar::app {

namespace {

using core::NoteCodeLanguage;
using core::NoteMode;

// The languages the footer's picker offers, in picker order.
constexpr std::array pickerLanguages = {NoteCodeLanguage::swift,      NoteCodeLanguage::javascript,
                                        NoteCodeLanguage::typescript, NoteCodeLanguage::python,
                                        NoteCodeLanguage::json,       NoteCodeLanguage::shell,
                                        NoteCodeLanguage::html};

// A help text with its key in the platform's notation: "New note (Ctrl+N)".
QString withKey(const QString& help, const char* keys) {
    return help + QStringLiteral(" (") +
           QKeySequence(QString::fromLatin1(keys)).toString(QKeySequence::NativeText) +
           QLatin1Char(')');
}

AppIcon modeIcon(NoteMode mode) {
    switch (mode) {
    case NoteMode::text:
        return AppIcon::textMode;
    case NoteMode::calculations:
        return AppIcon::functionMode;
    case NoteMode::code:
        return AppIcon::codeMode;
    case NoteMode::markdown:
        return AppIcon::markdownMode;
    }
    return AppIcon::textMode;
}

} // namespace

NotesRootView::NotesRootView(NotesModel& model, QSettings& settings, QWidget* parent)
    : QWidget(parent)
    , m_model(model)
    , m_settings(settings) {
    setObjectName(QStringLiteral("root"));
    m_sidebar = new NotesSidebar(model, this);
    m_editor = new NoteEditorView(this);
    m_preview = new NoteMarkdownPreview(this);
    m_stack = new QStackedWidget(this);
    m_stack->addWidget(m_editor);
    m_stack->addWidget(m_preview);

    auto* content = new QHBoxLayout;
    content->setContentsMargins(0, 0, 0, 0);
    content->setSpacing(0);
    m_sidebar->setFixedWidth(250);
    content->addWidget(m_sidebar);
    content->addWidget(m_stack, 1);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(buildToolbar());
    layout->addWidget(buildBanner());
    layout->addLayout(content, 1);
    layout->addWidget(buildFooter());

    connect(m_editor, &NoteEditorView::textEdited, this, [this](const QString& text) {
        // An edit belongs to the note the editor shows; it never reaches another one.
        if (m_shownNote == m_model.current().id) {
            m_model.updateText(text);
        }
    });
    connect(m_editor, &NoteEditorView::swiped, this, [this](int step) {
        if (step > 0) {
            m_model.goToNext();
        } else {
            m_model.goToPrevious();
        }
    });
    connect(m_editor, &NoteEditorView::filesDropped, this, [this](const QList<QUrl>& urls) {
        if (m_model.requestOpenURLs) {
            m_model.requestOpenURLs(urls);
        }
    });
    connect(&m_model, &NotesModel::resultsChanged, this,
            [this] { m_editor->setResults(m_model.results()); });
    connect(&m_model, &NotesModel::currentIndexChanged, this, &NotesRootView::showCurrentNote);
    connect(&m_model, &NotesModel::notesChanged, this, &NotesRootView::showCurrentNote);
    connect(&m_model, &NotesModel::bannerMessageChanged, this, &NotesRootView::refreshBanner);
    connect(&m_model, &NotesModel::sidebarVisibleChanged, this, [this](bool visible) {
        m_sidebar->setVisible(visible);
        refreshToolbar();
        if (visible) {
            m_sidebar->searchField()->setFocus();
        }
    });
    connect(&m_model, &NotesModel::expandedChanged, this, &NotesRootView::refreshToolbar);
    connect(&m_model, &NotesModel::focusActiveChanged, this, &NotesRootView::refreshToolbar);
    connect(&m_model, &NotesModel::pinnedChanged, this, &NotesRootView::refreshToolbar);

    m_sidebar->setVisible(m_model.sidebarVisible());
    setOpenFileAvailable(false);
    applySettings();
    showCurrentNote();
    refreshBanner();
}

QToolButton* NotesRootView::addToolButton(const QString& name, const QString& label,
                                          const QString& help) {
    auto* button = new QToolButton(m_toolbar);
    button->setObjectName(name);
    button->setAccessibleName(label);
    button->setToolTip(help);
    button->setAutoRaise(true);
    button->setIconSize(QSize(18, 18));
    button->setFocusPolicy(Qt::TabFocus);
    m_toolbar->layout()->addWidget(button);
    return button;
}

QWidget* NotesRootView::buildToolbar() {
    m_toolbar = new QWidget(this);
    m_toolbar->setObjectName(QStringLiteral("toolbar"));
    auto* row = new QHBoxLayout(m_toolbar);
    row->setContentsMargins(10, 6, 10, 4);
    row->setSpacing(2);
    // The frameless panel moves by dragging the toolbar's empty space.
    m_toolbar->installEventFilter(this);

    m_listButton = addToolButton(QStringLiteral("list"), QStringLiteral("Show notes list"),
                                 withKey(QStringLiteral("Show notes list"), "Ctrl+Shift+L"));
    // Checked while the list is open.
    m_listButton->setCheckable(true);
    connect(m_listButton, &QToolButton::clicked, this,
            [this] { m_model.setSidebarVisible(!m_model.sidebarVisible()); });
    m_newButton = addToolButton(QStringLiteral("new"), QStringLiteral("New note"),
                                withKey(QStringLiteral("New note"), "Ctrl+N"));
    connect(m_newButton, &QToolButton::clicked, this, [this] { m_model.createNote(); });
    m_openButton = addToolButton(QStringLiteral("open"), QStringLiteral("Open file"),
                                 withKey(QStringLiteral("Open file"), "Ctrl+O"));
    connect(m_openButton, &QToolButton::clicked, this, [this] {
        if (m_model.requestOpenFile) {
            m_model.requestOpenFile();
        }
    });
    m_exportButton = addToolButton(QStringLiteral("export"), QStringLiteral("Export note"),
                                   withKey(QStringLiteral("Export note"), "Ctrl+Shift+E"));
    connect(m_exportButton, &QToolButton::clicked, this, [this] {
        if (m_model.requestExport) {
            m_model.requestExport();
        }
    });
    m_modeButton = addToolButton(QStringLiteral("mode"), QString(), QStringLiteral("Note mode"));
    m_modeMenu = buildModeMenu();
    m_modeButton->setMenu(m_modeMenu);
    m_modeButton->setPopupMode(QToolButton::InstantPopup);
    m_appearanceButton =
        addToolButton(QStringLiteral("appearance"), QStringLiteral("Writing appearance"),
                      QStringLiteral("Writing appearance"));
    m_appearanceMenu = buildAppearanceMenu();
    m_appearanceButton->setMenu(m_appearanceMenu);
    m_appearanceButton->setPopupMode(QToolButton::InstantPopup);
    m_settingsButton = addToolButton(QStringLiteral("settings"), QStringLiteral("Settings"),
                                     withKey(QStringLiteral("Settings"), "Ctrl+,"));
    connect(m_settingsButton, &QToolButton::clicked, this, [this] {
        if (m_model.requestSettings) {
            m_model.requestSettings();
        }
    });
    row->addStretch(1);
    m_focusButton = addToolButton(QStringLiteral("focus"), QString(), QString());
    connect(m_focusButton, &QToolButton::clicked, this, [this] {
        if (m_model.toggleFocus) {
            m_model.toggleFocus();
        }
    });
    m_expandButton = addToolButton(QStringLiteral("expand"), QString(), QString());
    connect(m_expandButton, &QToolButton::clicked, this, [this] {
        if (m_model.toggleExpanded) {
            m_model.toggleExpanded();
        }
    });
    m_pinButton = addToolButton(QStringLiteral("pin"), QString(), QString());
    connect(m_pinButton, &QToolButton::clicked, this,
            [this] { m_model.setPinned(!m_model.pinned()); });
    return m_toolbar;
}

QMenu* NotesRootView::buildModeMenu() {
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("mode-menu"));
    auto* group = new QActionGroup(menu);
    for (const NoteMode mode : core::allNoteModes) {
        QAction* action = menu->addAction(toQString(core::label(mode)));
        action->setCheckable(true);
        action->setData(static_cast<int>(mode));
        group->addAction(action);
        connect(action, &QAction::triggered, this,
                [this, mode] { chooseMode(static_cast<int>(mode)); });
    }
    return menu;
}

QMenu* NotesRootView::buildAppearanceMenu() {
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("appearance-menu"));
    QAction* lines = menu->addAction(QStringLiteral("Notebook lines"));
    lines->setObjectName(QStringLiteral("notebook-lines"));
    lines->setCheckable(true);
    connect(menu, &QMenu::aboutToShow, this, [this, lines] {
        lines->setChecked(m_settings.value(settings::notebookLines, false).toBool());
    });
    connect(lines, &QAction::toggled, this, [this](bool on) {
        m_settings.setValue(settings::notebookLines, on);
        applySettings();
        Q_EMIT settingsChanged();
    });
    QMenu* appearance = menu->addMenu(QStringLiteral("Appearance"));
    auto* group = new QActionGroup(appearance);
    for (const auto& [title, value] :
         {std::pair{"System", "system"}, {"Light", "light"}, {"Dark", "dark"}}) {
        QAction* action = appearance->addAction(QString::fromLatin1(title));
        action->setCheckable(true);
        group->addAction(action);
        const QString stored = QString::fromLatin1(value);
        connect(appearance, &QMenu::aboutToShow, action, [this, action, stored] {
            action->setChecked(
                m_settings.value(settings::appearance, QStringLiteral("system")).toString() ==
                stored);
        });
        connect(action, &QAction::triggered, this, [this, stored] {
            m_settings.setValue(settings::appearance, stored);
            applySettings();
            Q_EMIT settingsChanged();
        });
    }
    return menu;
}

QWidget* NotesRootView::buildBanner() {
    m_banner = new QFrame(this);
    m_banner->setObjectName(QStringLiteral("banner"));
    auto* row = new QHBoxLayout(m_banner);
    row->setContentsMargins(12, 6, 8, 6);
    m_bannerText = new QLabel(m_banner);
    m_bannerText->setObjectName(QStringLiteral("banner-text"));
    m_bannerText->setWordWrap(true);
    m_bannerText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_openSettingsButton = new QPushButton(QStringLiteral("Open Settings"), m_banner);
    m_openSettingsButton->setObjectName(QStringLiteral("open-settings"));
    connect(m_openSettingsButton, &QPushButton::clicked, this, [this] {
        if (m_model.requestSettings) {
            m_model.requestSettings();
        }
    });
    auto* retry = new QPushButton(QStringLiteral("Retry"), m_banner);
    retry->setObjectName(QStringLiteral("retry"));
    connect(retry, &QPushButton::clicked, this, [this] { m_model.retry(); });
    auto* dismiss = new QToolButton(m_banner);
    dismiss->setObjectName(QStringLiteral("dismiss"));
    dismiss->setAccessibleName(QStringLiteral("Dismiss warning"));
    dismiss->setToolTip(QStringLiteral("Dismiss warning"));
    dismiss->setAutoRaise(true);
    connect(dismiss, &QToolButton::clicked, this, [this] { m_model.dismissBanner(); });
    row->addWidget(m_bannerText, 1);
    row->addWidget(m_openSettingsButton);
    row->addWidget(retry);
    row->addWidget(dismiss);
    return m_banner;
}

QWidget* NotesRootView::buildFooter() {
    auto* footer = new QWidget(this);
    m_footer = footer;
    footer->setObjectName(QStringLiteral("footer"));
    auto* row = new QHBoxLayout(footer);
    row->setContentsMargins(14, 4, 10, 6);
    row->setSpacing(6);
    m_position = new QLabel(footer);
    m_position->setObjectName(QStringLiteral("position"));
    row->addWidget(m_position);
    row->addStretch(1);

    m_previewSwitch = createPreviewSwitch(footer, m_previewButtons);
    // Toggled, not clicked: assistive technology checks the button without clicking it. The
    // footer checking the button of what is shown changes nothing here.
    connect(m_previewButtons, &QButtonGroup::idToggled, this, [this](int id, bool checked) {
        if (!checked || (id == 1) == m_previewing) {
            return;
        }
        m_previewing = id == 1;
        showCurrentNote();
        // Typing, or scrolling by keys, goes on in what is shown now.
        if (m_previewing) {
            m_preview->setFocus(Qt::OtherFocusReason);
        } else {
            m_editor->setFocus(Qt::OtherFocusReason);
        }
    });
    row->addWidget(m_previewSwitch);

    m_language = createLanguagePicker(footer);
    connect(m_language, &QComboBox::activated, this, &NotesRootView::chooseLanguage);
    row->addWidget(m_language);

    m_previousButton = new QToolButton(footer);
    m_previousButton->setObjectName(QStringLiteral("previous"));
    m_previousButton->setAccessibleName(QStringLiteral("Previous note"));
    m_previousButton->setToolTip(withKey(QStringLiteral("Previous note"), "Ctrl+["));
    m_previousButton->setAutoRaise(true);
    connect(m_previousButton, &QToolButton::clicked, this, [this] { m_model.goToPrevious(); });
    m_nextButton = new QToolButton(footer);
    m_nextButton->setObjectName(QStringLiteral("next"));
    m_nextButton->setAccessibleName(QStringLiteral("Next note"));
    m_nextButton->setToolTip(withKey(QStringLiteral("Next note"), "Ctrl+]"));
    m_nextButton->setAutoRaise(true);
    connect(m_nextButton, &QToolButton::clicked, this, [this] { m_model.goToNext(); });
    row->addWidget(m_previousButton);
    row->addWidget(m_nextButton);
    return footer;
}

void NotesRootView::setOpenFileAvailable(bool available) {
    m_openButton->setVisible(available);
    m_editor->setAcceptsFileDrops(available && static_cast<bool>(m_model.requestOpenURLs));
}

void NotesRootView::setDarkBackdrop(bool dark) {
    if (dark != m_darkBackdrop) {
        m_darkBackdrop = dark;
        applySettings();
    }
}

void NotesRootView::applySettings() {
    setPalette(appearancePalette(m_settings.value(settings::appearance).toString()));
    m_dark = isDarkPalette(palette());
    // What stands on the background reads against it.
    const QPalette chrome = m_darkBackdrop ? appearancePalette(QStringLiteral("dark")) : palette();
    for (QWidget* part : {m_toolbar, m_footer, static_cast<QWidget*>(m_sidebar), m_banner}) {
        part->setPalette(chrome);
    }
    m_editor->setDark(m_dark);
    m_preview->setDark(m_dark);
    const double size =
        m_settings.value(settings::editorFontSize, settings::defaultEditorFontSize).toDouble();
    m_editor->setFontSize(size);
    m_preview->setFontSize(size);
    m_editor->setShowsLines(m_settings.value(settings::notebookLines, false).toBool());

    const QColor ink = m_toolbar->palette().color(QPalette::WindowText);
    m_listButton->setIcon(appIcon(AppIcon::sidebar, ink));
    m_newButton->setIcon(appIcon(AppIcon::plus, ink));
    m_openButton->setIcon(appIcon(AppIcon::folder, ink));
    m_exportButton->setIcon(appIcon(AppIcon::share, ink));
    m_appearanceButton->setIcon(appIcon(AppIcon::textFormat, ink));
    m_settingsButton->setIcon(appIcon(AppIcon::gear, ink));
    m_previousButton->setIcon(appIcon(AppIcon::chevronLeft, ink));
    m_nextButton->setIcon(appIcon(AppIcon::chevronRight, ink));
    m_banner->findChild<QToolButton*>(QStringLiteral("dismiss"))
        ->setIcon(appIcon(AppIcon::close, ink));
    // The menu stands on its own window, in the appearance's colours.
    const QColor menuInk = palette().color(QPalette::WindowText);
    for (QAction* action : m_modeMenu->actions()) {
        action->setIcon(appIcon(modeIcon(static_cast<NoteMode>(action->data().toInt())), menuInk));
    }
    refreshToolbar();
}

void NotesRootView::showCurrentNote() {
    const core::NoteDocument note = m_model.current();
    if (note.id != m_shownNote) {
        // Another note: text, mode and language change together, and undo starts afresh.
        m_shownNote = note.id;
        m_editor->showDocument(toQString(note.text), note.mode, note.codeLanguage);
    } else {
        m_editor->setText(toQString(note.text));
        m_editor->setMode(note.mode);
        m_editor->setCodeLanguage(note.codeLanguage);
    }
    m_editor->setEditable(m_model.isEditable());
    m_editor->setResults(m_model.results());
    m_editor->setAcceptsFileDrops(static_cast<bool>(m_model.requestOpenURLs));
    const bool preview = note.mode == NoteMode::markdown && m_previewing;
    if (preview) {
        m_preview->setText(toQString(note.text));
    }
    m_stack->setCurrentWidget(preview ? static_cast<QWidget*>(m_preview) : m_editor);
    refreshToolbar();
    refreshFooter();
}

void NotesRootView::refreshToolbar() {
    const QColor ink = m_toolbar->palette().color(QPalette::WindowText);
    const NoteMode mode = m_model.current().mode;
    m_modeButton->setIcon(appIcon(modeIcon(mode), ink));
    m_modeButton->setAccessibleName(QStringLiteral("Note mode: ") + toQString(core::label(mode)));
    for (QAction* action : m_modeMenu->actions()) {
        action->setChecked(action->data().toInt() == static_cast<int>(mode));
    }
    const bool focused = m_model.focusActive();
    m_focusButton->setIcon(appIcon(focused ? AppIcon::focusFilled : AppIcon::focus, ink));
    m_focusButton->setAccessibleName(focused ? QStringLiteral("Leave focus mode")
                                             : QStringLiteral("Focus mode"));
    m_focusButton->setToolTip(focused ? withKey(QStringLiteral("Leave focus mode"), "Esc")
                                      : withKey(QStringLiteral("Focus mode"), "Ctrl+Shift+D"));
    const bool expanded = m_model.expanded();
    m_expandButton->setIcon(appIcon(expanded ? AppIcon::collapse : AppIcon::expand, ink));
    m_expandButton->setAccessibleName(expanded ? QStringLiteral("Restore panel")
                                               : QStringLiteral("Expand panel"));
    m_expandButton->setToolTip(expanded ? withKey(QStringLiteral("Return to floating panel"), "Esc")
                                        : withKey(QStringLiteral("Expand"), "Ctrl+Shift+F"));
    const bool pinned = m_model.pinned();
    m_pinButton->setIcon(appIcon(pinned ? AppIcon::pinFilled : AppIcon::pin, ink));
    m_pinButton->setAccessibleName(pinned ? QStringLiteral("Unpin panel")
                                          : QStringLiteral("Pin panel"));
    m_pinButton->setToolTip(m_pinButton->accessibleName());
    m_listButton->setChecked(m_model.sidebarVisible());
}

void NotesRootView::refreshFooter() {
    const core::NoteDocument note = m_model.current();
    const qlonglong count = static_cast<qlonglong>(m_model.notes().size());
    m_position->setText(
        QStringLiteral("%1 of %2").arg(count == 0 ? 0 : m_model.currentIndex() + 1).arg(count));
    m_previewSwitch->setVisible(note.mode == NoteMode::markdown);
    m_previewButtons->button(m_previewing ? 1 : 0)->setChecked(true);

    m_language->setVisible(note.mode == NoteMode::code);
    // The picker lists the common languages, and the note's own when it is another one, so
    // that a CSS or SQL note still shows what it is highlighted as.
    const QSignalBlocker blocker(m_language);
    m_language->clear();
    for (const NoteCodeLanguage language : pickerLanguages) {
        m_language->addItem(toQString(core::label(language)), static_cast<int>(language));
    }
    if (m_language->findData(static_cast<int>(note.codeLanguage)) < 0) {
        m_language->addItem(toQString(core::label(note.codeLanguage)),
                            static_cast<int>(note.codeLanguage));
    }
    m_language->setCurrentIndex(m_language->findData(static_cast<int>(note.codeLanguage)));
}

void NotesRootView::refreshBanner() {
    const QString& message = m_model.bannerMessage();
    m_banner->setVisible(!message.isNull());
    m_bannerText->setText(message);
    m_openSettingsButton->setVisible(m_model.bannerOffersSettings() &&
                                     static_cast<bool>(m_model.requestSettings));
}

void NotesRootView::chooseMode(int mode) {
    core::NoteDocument note = m_model.current();
    if (!m_model.isLoaded() || static_cast<int>(note.mode) == mode) {
        refreshToolbar();
        return;
    }
    // Write the text first, so that the file matches the new mode.
    m_model.flush();
    note = m_model.current();
    note.mode = static_cast<NoteMode>(mode);
    m_model.saveMetadata(note);
    showCurrentNote();
}

void NotesRootView::chooseLanguage(int index) {
    core::NoteDocument note = m_model.current();
    const auto language = static_cast<NoteCodeLanguage>(m_language->itemData(index).toInt());
    if (!m_model.isLoaded() || language == note.codeLanguage) {
        return;
    }
    m_model.flush();
    note = m_model.current();
    note.codeLanguage = language;
    m_model.saveMetadata(note);
    showCurrentNote();
}

void NotesRootView::showEvent(QShowEvent* event) {
    // The settings may have become reachable since the banner was last drawn.
    refreshBanner();
    QWidget::showEvent(event);
}

bool NotesRootView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_toolbar && event->type() == QEvent::MouseButtonPress &&
        static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton &&
        window()->windowHandle() != nullptr) {
        window()->windowHandle()->startSystemMove();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace zemvar::app
