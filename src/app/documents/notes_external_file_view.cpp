// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/documents/notes_external_file_view.h"

#include "app/documents/notes_external_document.h"
#include "app/editor/app_icons.h"
#include "app/editor/editor_colors.h"
#include "app/editor/labelled_picker.h"
#include "app/editor/note_editor_view.h"
#include "app/editor/note_markdown_preview.h"
#include "app/editor/view_switches.h"
#include "app/model/app_settings.h"
#include "app/model/qt_text.h"
#include "app/platform/window_hints.h"

#include <QButtonGroup>
#include <QCloseEvent>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace zemvar::app {

namespace {

using core::NoteMode;

QString nativeKeys(const char* keys) {
    return QKeySequence(QString::fromLatin1(keys)).toString(QKeySequence::NativeText);
}

// The local files of a drag.
QList<QUrl> droppedFiles(const QMimeData* data) {
    QList<QUrl> files;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile()) {
            files.append(url);
        }
    }
    return files;
}

} // namespace

NotesExternalFileView::NotesExternalFileView(NotesExternalDocument& document, QSettings& settings,
                                             QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_document(document)
    , m_settings(settings) {
    setObjectName(QStringLiteral("external-file-window"));
    setAttribute(Qt::WA_DeleteOnClose, false); // the opener decides when it goes
    setAcceptDrops(true);
    setMinimumSize(480, 320);
    resize(720, 560);

    m_editor = new NoteEditorView(this);
    m_editor->setAcceptsFileDrops(true);
    m_preview = new NoteMarkdownPreview(this);
    m_stack = new QStackedWidget(this);
    m_stack->addWidget(m_editor);
    m_stack->addWidget(m_preview);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(buildHeader());
    layout->addWidget(buildMessageBar());
    layout->addWidget(m_stack, 1);
    layout->addWidget(buildBottomBar());

    connect(m_editor, &NoteEditorView::textEdited, &m_document, &NotesExternalDocument::edit);
    connect(m_editor, &NoteEditorView::filesDropped, this, &NotesExternalFileView::filesDropped);
    connect(&m_document, &NotesExternalDocument::textReplaced, this, [this] {
        m_editor->showDocument(m_document.text(), m_document.mode(), m_document.language());
        refreshBody();
    });
    connect(&m_document, &NotesExternalDocument::languageChanged, this, [this] {
        m_editor->setCodeLanguage(m_document.language());
        refreshStatus();
    });
    connect(&m_document, &NotesExternalDocument::pathChanged, this,
            &NotesExternalFileView::refreshTitle);
    connect(&m_document, &NotesExternalDocument::editedChanged, this,
            &NotesExternalFileView::refreshStatus);
    connect(&m_document, &NotesExternalDocument::saveConfirmedChanged, this,
            &NotesExternalFileView::refreshStatus);
    connect(&m_document, &NotesExternalDocument::messageChanged, this,
            &NotesExternalFileView::refreshMessage);

    const auto addShortcut = [this](const char* keys, auto action) {
        auto* shortcut = new QShortcut(QKeySequence(QString::fromLatin1(keys)), this);
        connect(shortcut, &QShortcut::activated, this, action);
    };
    addShortcut("Ctrl+S", [this] { m_document.save(); });
    addShortcut("Ctrl+Shift+S", [this] { saveAs(); });
    addShortcut("Ctrl+O", [this] { Q_EMIT openFileRequested(); });
    addShortcut("Ctrl+W", [this] { close(); });
    addShortcut("Ctrl+Q", [this] { Q_EMIT quitRequested(); });

    m_editor->showDocument(m_document.text(), m_document.mode(), m_document.language());
    applySettings();
    refreshTitle();
    refreshStatus();
    refreshMessage();
    refreshBody();
    // Where the compositor places windows, it chooses.
    QScreen* screen = QGuiApplication::primaryScreen();
    if (screen != nullptr && platform::appPlacesWindows()) {
        move(screen->availableGeometry().center() - rect().center());
    }
}

QWidget* NotesExternalFileView::buildHeader() {
    auto* header = new QWidget(this);
    header->setObjectName(QStringLiteral("header"));
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(14, 10, 12, 10);
    row->setSpacing(10);
    m_icon = new QLabel(header);
    row->addWidget(m_icon);

    auto* names = new QVBoxLayout;
    names->setSpacing(1);
    m_name = new QLabel(header);
    m_name->setObjectName(QStringLiteral("file-name"));
    QFont bold = m_name->font();
    bold.setBold(true);
    m_name->setFont(bold);
    m_path = new QLabel(header);
    m_path->setObjectName(QStringLiteral("file-path"));
    // Elided to the width it gets, never widening the window.
    m_path->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_path->setForegroundRole(QPalette::PlaceholderText);
    m_path->installEventFilter(this);
    names->addWidget(m_name);
    names->addWidget(m_path);
    row->addLayout(names, 1);

    m_saved = new QLabel(QStringLiteral("Saved"), header);
    m_saved->setObjectName(QStringLiteral("saved"));
    row->addWidget(m_saved);

    m_actionsButton = new QToolButton(header);
    m_actionsButton->setObjectName(QStringLiteral("file-actions"));
    m_actionsButton->setAccessibleName(QStringLiteral("File actions"));
    m_actionsButton->setToolTip(QStringLiteral("File actions"));
    m_actionsButton->setAutoRaise(true);
    m_actionsButton->setIconSize(QSize(18, 18));
    m_actionsButton->setPopupMode(QToolButton::InstantPopup);
    m_actionsMenu = new QMenu(m_actionsButton);
    m_actionsMenu->setObjectName(QStringLiteral("file-actions-menu"));
    m_actionsMenu->addAction(QStringLiteral("Create Copy as Note"), &m_document,
                             &NotesExternalDocument::copyAsNote);
    m_actionsMenu->addAction(QStringLiteral("Save As\u2026"), this, &NotesExternalFileView::saveAs);
    m_actionsMenu->addAction(QStringLiteral("Reload from Disk\u2026"), this,
                             &NotesExternalFileView::reloadFromDisk);
    m_actionsMenu->addAction(QStringLiteral("Show in File Manager"), this,
                             &NotesExternalFileView::showInFileManager);
    m_actionsButton->setMenu(m_actionsMenu);
    row->addWidget(m_actionsButton);

    m_saveButton = new QPushButton(QStringLiteral("Save"), header);
    m_saveButton->setObjectName(QStringLiteral("save"));
    m_saveButton->setToolTip(QStringLiteral("Save (") + nativeKeys("Ctrl+S") + QLatin1Char(')'));
    m_saveButton->setDefault(true);
    // A click leaves the keyboard in the text.
    m_saveButton->setFocusPolicy(Qt::TabFocus);
    connect(m_saveButton, &QPushButton::clicked, &m_document, &NotesExternalDocument::save);
    row->addWidget(m_saveButton);
    return header;
}

QWidget* NotesExternalFileView::buildMessageBar() {
    m_messageBar = new QFrame(this);
    m_messageBar->setObjectName(QStringLiteral("message-bar"));
    m_messageBar->setAutoFillBackground(true);
    m_messageBar->setBackgroundRole(QPalette::AlternateBase);
    auto* row = new QHBoxLayout(m_messageBar);
    row->setContentsMargins(14, 6, 8, 6);
    m_messageText = new QLabel(m_messageBar);
    m_messageText->setObjectName(QStringLiteral("message"));
    m_messageText->setWordWrap(true);
    m_messageText->setTextInteractionFlags(Qt::TextSelectableByMouse |
                                           Qt::TextSelectableByKeyboard);
    m_dismissButton = new QToolButton(m_messageBar);
    m_dismissButton->setObjectName(QStringLiteral("dismiss-message"));
    m_dismissButton->setAccessibleName(QStringLiteral("Dismiss message"));
    m_dismissButton->setToolTip(QStringLiteral("Dismiss message"));
    m_dismissButton->setAutoRaise(true);
    connect(m_dismissButton, &QToolButton::clicked, &m_document,
            &NotesExternalDocument::clearMessage);
    row->addWidget(m_messageText, 1);
    row->addWidget(m_dismissButton);
    return m_messageBar;
}

QWidget* NotesExternalFileView::buildBottomBar() {
    auto* bar = new QWidget(this);
    bar->setObjectName(QStringLiteral("bottom-bar"));
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(14, 4, 10, 6);
    row->setSpacing(6);
    m_status = new QLabel(bar);
    m_status->setObjectName(QStringLiteral("status"));
    QFont caption = m_status->font();
    caption.setPointSizeF(caption.pointSizeF() * 0.9);
    m_status->setFont(caption);
    m_status->setForegroundRole(QPalette::PlaceholderText);
    row->addWidget(m_status);
    row->addStretch(1);

    m_language = createLanguagePicker(bar);
    for (const core::NoteCodeLanguage language : core::allNoteCodeLanguages) {
        m_language->addItem(toQString(core::label(language)), static_cast<int>(language));
    }
    connect(m_language, &QComboBox::activated, this, [this](int index) {
        m_document.setLanguage(
            static_cast<core::NoteCodeLanguage>(m_language->itemData(index).toInt()));
    });
    row->addWidget(m_language);

    m_previewSwitch = createPreviewSwitch(bar, m_previewButtons);
    m_previewButtons->button(0)->setChecked(true);
    // Toggled, not clicked: assistive technology checks a button without clicking it.
    connect(m_previewButtons, &QButtonGroup::idToggled, this, [this](int id, bool checked) {
        if (checked) {
            showPreview(id == 1);
        }
    });
    row->addWidget(m_previewSwitch);
    return bar;
}

void NotesExternalFileView::applySettings() {
    setPalette(appearancePalette(m_settings.value(settings::appearance).toString()));
    const bool dark = isDarkPalette(palette());
    m_editor->setDark(dark);
    m_preview->setDark(dark);
    const double size =
        m_settings.value(settings::editorFontSize, settings::defaultEditorFontSize).toDouble();
    m_editor->setFontSize(size);
    m_preview->setFontSize(size);
    const QColor ink = palette().color(QPalette::WindowText);
    m_icon->setPixmap(appIcon(AppIcon::document, ink).pixmap(QSize(24, 24)));
    m_actionsButton->setIcon(appIcon(AppIcon::ellipsis, ink));
    m_dismissButton->setIcon(appIcon(AppIcon::close, ink));
    QPalette savedPalette = m_saved->palette();
    savedPalette.setColor(QPalette::WindowText, accentColor(dark));
    m_saved->setPalette(savedPalette);
}

void NotesExternalFileView::bringForward() {
    if (isMinimized()) {
        showNormal();
    }
    show();
    raise();
    activateWindow();
    if (m_stack->currentWidget() == m_editor) {
        m_editor->textView()->setFocus(Qt::ActiveWindowFocusReason);
    }
}

void NotesExternalFileView::refreshTitle() {
    // "[*]" marks unsaved edits in the title.
    setWindowTitle(m_document.fileName() + QStringLiteral("[*] \u2014 Zemvar Notes"));
    m_name->setText(m_document.fileName());
    m_path->setToolTip(m_document.path());
    elidePath();
}

void NotesExternalFileView::elidePath() {
    m_path->setText(
        m_path->fontMetrics().elidedText(m_document.path(), Qt::ElideMiddle, m_path->width()));
}

void NotesExternalFileView::refreshStatus() {
    const bool edited = m_document.isEdited();
    setWindowModified(edited);
    m_status->setText(edited ? QStringLiteral("Unsaved changes \u00b7 ") + nativeKeys("Ctrl+S") +
                                   QStringLiteral(" to save")
                             : QStringLiteral("Editing original file"));
    m_saved->setVisible(m_document.saveConfirmed());
    m_language->setCurrentIndex(m_language->findData(static_cast<int>(m_document.language())));
}

void NotesExternalFileView::refreshMessage() {
    m_messageBar->setVisible(!m_document.message().isNull());
    m_messageText->setText(m_document.message());
}

void NotesExternalFileView::refreshBody() {
    const NoteMode mode = m_document.mode();
    m_language->setVisible(mode == NoteMode::code);
    m_previewSwitch->setVisible(mode == NoteMode::markdown);
    showPreview(mode == NoteMode::markdown && m_previewing);
}

void NotesExternalFileView::showPreview(bool preview) {
    m_previewing = preview;
    if (preview) {
        m_preview->setText(m_document.text());
    }
    m_stack->setCurrentWidget(preview ? static_cast<QWidget*>(m_preview) : m_editor);
    m_stack->currentWidget()->setFocus(Qt::OtherFocusReason);
}

void NotesExternalFileView::reloadFromDisk() {
    if (!m_document.isEdited()) {
        m_document.reloadFromDisk();
        return;
    }
    auto* box =
        new QMessageBox(QMessageBox::Warning, QStringLiteral("Reload"),
                        QStringLiteral("Reload the original file?"), QMessageBox::NoButton, this);
    box->setObjectName(QStringLiteral("reload-question"));
    box->setInformativeText(QStringLiteral("Your unsaved edits in this window will be discarded. "
                                           "You can use Save As to keep a separate copy first."));
    QPushButton* reload = box->addButton(QStringLiteral("Reload"), QMessageBox::DestructiveRole);
    box->addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(reload);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::finished, this, [this, box, reload] {
        if (box->clickedButton() == reload) {
            m_document.reloadFromDisk();
        }
    });
    box->open();
}

void NotesExternalFileView::saveAs() {
    auto* dialog = new QFileDialog(this, QStringLiteral("Save As"),
                                   QFileInfo(m_document.path()).absolutePath());
    dialog->setObjectName(QStringLiteral("save-as-dialog"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->selectFile(m_document.fileName());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, &m_document, &NotesExternalDocument::saveAs);
    dialog->open();
}

void NotesExternalFileView::showInFileManager() {
    const QUrl file = QUrl::fromLocalFile(m_document.path());
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(m_document.path()).absolutePath());
    // The freedesktop file-manager interface selects the file; without one the folder opens.
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{file.toString()} << QString();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QDesktopServices::openUrl(folder);
        return;
    }
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [folder](QDBusPendingCallWatcher* done) {
                if (done->isError()) {
                    QDesktopServices::openUrl(folder);
                }
                done->deleteLater();
            });
}

void NotesExternalFileView::closeDiscardingEdits() {
    m_mayClose = true;
    close();
}

void NotesExternalFileView::askBeforeClosing() {
    auto* box =
        new QMessageBox(QMessageBox::Warning, QStringLiteral("Close"),
                        QStringLiteral("Save the changes to \u201c") + m_document.fileName() +
                            QStringLiteral("\u201d before closing?"),
                        QMessageBox::NoButton, this);
    box->setObjectName(QStringLiteral("close-question"));
    box->setInformativeText(QStringLiteral("Your edits are lost if you close without saving."));
    QPushButton* save = box->addButton(QStringLiteral("Save"), QMessageBox::AcceptRole);
    QPushButton* discard = box->addButton(QStringLiteral("Discard"), QMessageBox::DestructiveRole);
    box->addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(save);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::finished, this, [this, box, save, discard] {
        // A failed save keeps the window, with the reason in its message bar.
        if (box->clickedButton() == discard ||
            (box->clickedButton() == save && m_document.save())) {
            closeDiscardingEdits();
        }
    });
    box->open();
}

void NotesExternalFileView::closeEvent(QCloseEvent* event) {
    if (m_document.isEdited() && !m_mayClose) {
        event->ignore();
        askBeforeClosing();
        return;
    }
    m_document.clearSaveConfirmation();
    QWidget::closeEvent(event);
    Q_EMIT closed();
}

void NotesExternalFileView::dragEnterEvent(QDragEnterEvent* event) {
    if (!droppedFiles(event->mimeData()).isEmpty()) {
        event->acceptProposedAction();
    }
}

void NotesExternalFileView::dropEvent(QDropEvent* event) {
    const QList<QUrl> files = droppedFiles(event->mimeData());
    if (!files.isEmpty()) {
        event->acceptProposedAction();
        Q_EMIT filesDropped(files);
    }
}

bool NotesExternalFileView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_path && event->type() == QEvent::Resize) {
        elidePath();
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace zemvar::app
