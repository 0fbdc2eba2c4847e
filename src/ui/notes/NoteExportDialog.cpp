#include "ui/notes/NoteExportDialog.h"

#include "app/notes/NoteExporter.h"
#include "app/notes/NotesModel.h"
#include "kit/support/UserFacingError.h"
#include "ui/design/Theme.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStandardPaths>
#include <QVBoxLayout>

namespace corvantis {

NoteExportDialog::NoteExportDialog(NotesModel& model, const QString& id, QWidget* parent)
    : QDialog(parent)
    , m_model(model)
    , m_id(id)
    , m_count(new QLabel(this))
    , m_markdown(new QRadioButton(QStringLiteral("Markdown"), this))
    , m_pdf(new QRadioButton(QStringLiteral("PDF"), this))
    , m_message(new QLabel(this))
    , m_path(new QLineEdit(this))
    , m_error(new QLabel(this)) {
    setObjectName(QStringLiteral("noteExportDialog"));
    const NoteItem* item = model.book().item(id);
    const QString name = item ? NoteExport::suggestedName(*item) : QStringLiteral("Untitled");
    setWindowTitle(QStringLiteral("Export “%1”").arg(name));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(5), Theme::space(5), Theme::space(5), Theme::space(4));
    layout->setSpacing(Theme::space(3));
    auto* title = new QLabel(QStringLiteral("Export “%1”").arg(name), this);
    QFont big = title->font();
    big.setBold(true);
    big.setPointSizeF(big.pointSizeF() * 1.2);
    title->setFont(big);
    layout->addWidget(title);
    m_count->setText(NoteExport::countText(item ? model.book().notes(id).size() : 0));
    QPalette muted = m_count->palette();
    muted.setColor(QPalette::WindowText, Theme::secondaryText());
    m_count->setPalette(muted);
    layout->addWidget(m_count);

    auto* formats = new QHBoxLayout;
    formats->addWidget(m_markdown);
    formats->addWidget(m_pdf);
    formats->addStretch();
    layout->addLayout(formats);
    m_message->setWordWrap(true);
    m_message->setObjectName(QStringLiteral("exportMessage"));
    layout->addWidget(m_message);

    auto* where = new QHBoxLayout;
    where->addWidget(m_path, 1);
    auto* choose = new QPushButton(QStringLiteral("Choose…"), this);
    where->addWidget(choose);
    layout->addLayout(where);
    m_error->setWordWrap(true);
    QPalette danger = m_error->palette();
    danger.setColor(QPalette::WindowText, Theme::danger());
    m_error->setPalette(danger);
    m_error->hide();
    layout->addWidget(m_error);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    m_export = buttons->addButton(QStringLiteral("Export"), QDialogButtonBox::AcceptRole);
    m_export->setDefault(true);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_export, &QPushButton::clicked, this, [this] {
        if (exportNow())
            accept();
    });
    connect(choose, &QPushButton::clicked, this, &NoteExportDialog::choosePath);
    connect(m_markdown, &QRadioButton::toggled, this, &NoteExportDialog::syncMessage);

    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty())
        folder = QDir::homePath();
    m_path->setText(folder + "/" + name + ".md");
    m_markdown->setChecked(true);
    syncMessage();
    setMinimumWidth(460);
}

NoteExport::Format NoteExportDialog::format() const {
    return m_pdf->isChecked() ? NoteExport::Format::pdf : NoteExport::Format::markdown;
}

void NoteExportDialog::setFormat(NoteExport::Format format) {
    (format == NoteExport::Format::pdf ? m_pdf : m_markdown)->setChecked(true);
}

QString NoteExportDialog::path() const {
    return m_path->text().trimmed();
}

void NoteExportDialog::setPath(const QString& path) {
    m_path->setText(path);
}

void NoteExportDialog::syncMessage() {
    const QString message = NoteExporter::panelMessage(m_model, m_id, format());
    m_message->setText(message);
    m_message->setVisible(!message.isEmpty());
    // The file's extension follows the format.
    const QFileInfo info(path());
    if (!path().isEmpty())
        m_path->setText(info.absolutePath() + "/" + info.completeBaseName() + "." +
                        NoteExport::fileExtension(format()));
    adjustSize();
}

void NoteExportDialog::choosePath() {
    const QString filter = format() == NoteExport::Format::pdf ? QStringLiteral("PDF (*.pdf)")
                                                               : QStringLiteral("Markdown (*.md)");
    const QString chosen = QFileDialog::getSaveFileName(this, windowTitle(), path(), filter);
    if (!chosen.isEmpty())
        m_path->setText(chosen);
}

bool NoteExportDialog::exportNow() {
    m_error->hide();
    if (path().isEmpty()) {
        m_error->setText(QStringLiteral("Choose where to save the export."));
        m_error->show();
        return false;
    }
    try {
        m_written = NoteExporter::save(m_model, m_id, format(), path());
        return true;
    } catch (const FileError& error) {
        m_error->setText(error.message());
        m_error->show();
        return false;
    }
}

} // namespace corvantis
