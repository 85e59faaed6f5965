// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "downloadrow.h"

#include "buttonbar.h"
#include "download.h"
#include "openfolder.h"
#include "recordingwatch.h"
#include "statistics.h"
#include "theme.h"

#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

constexpr int kParts = 1000; ///< of the progress bar

QString spanText(const TimeSpan &span)
{
    using namespace recordingtime;
    return DownloadRow::tr("%1 to %2")
               .arg(text(span.begin), dayOf(span.begin) == dayOf(span.end - 1) ? clockText(span.end)
                                                                               : text(span.end)) +
           QStringLiteral("   (%1)").arg(durationText(span.length()));
}

} // namespace

QString downloadText(const Download &download)
{
    const auto tr = [](const char *text) { return DownloadRow::tr(text); };
    switch (download.state()) {
    case DownloadState::Waiting:
        return tr("Waits for its turn");
    case DownloadState::Stopping:
        return tr("Ending the file");
    case DownloadState::Cancelled:
        return download.results().isEmpty() ? tr("Cancelled") : tr("Cancelled; kept so far:");
    case DownloadState::Failed:
        return download.problem() +
               (download.results().isEmpty() ? QString() : tr(" Kept so far:"));
    case DownloadState::Done:
        return tr("Done");
    case DownloadState::Running:
        break;
    }
    if (download.left() < 0)
        return tr("Begins");
    return tr("%1 %   %2 times as fast as recorded   %3 left")
        .arg(QString::number(int(download.part() * 100)),
             QString::number(download.rate(), 'f', download.rate() < 10 ? 1 : 0),
             durationText(download.left() + 999));
}

QString downloadsTable(const QList<Download *> &downloads)
{
    QVector<QStringList> rows{{"name", "from", "length", "state", "files"}};
    for (const Download *download : downloads)
        rows.append({download->camera().name, recordingtime::text(download->span().begin),
                     durationText(download->span().length()), downloadText(*download).simplified(),
                     download->results().join(QLatin1Char(' '))});
    return textTable(rows, {2});
}

DownloadRow::DownloadRow(Download *download, QWidget *parent)
    : QFrame(parent), m_download(download), m_state(new QLabel), m_bar(new QProgressBar),
      m_results(new QVBoxLayout)
{
    setObjectName(QStringLiteral("download"));
    auto *title = new QLabel(download->camera().name);
    auto *span = new QLabel(spanText(download->span()));
    span->setObjectName(QStringLiteral("dim"));
    m_state->setObjectName(QStringLiteral("dim"));
    m_state->setWordWrap(true);
    m_bar->setRange(0, kParts);
    m_bar->setTextVisible(false);
    m_bar->setFixedHeight(4);

    auto *head = new QHBoxLayout;
    head->setSpacing(theme::gap / 2);
    head->addWidget(title);
    head->addSpacing(2 * theme::gap);
    head->addWidget(span);
    head->addStretch(1);
    const auto add = [head](const QString &icon, const QString &tip) {
        QToolButton *button = ButtonBar::makeButton(icon, tip);
        button->setFocusPolicy(Qt::StrongFocus);
        head->addWidget(button);
        return button;
    };
    m_retry = add("retry", tr("Try again"));
    m_cancel = add("stop", tr("Cancel; what is there is kept"));
    m_folder = add("folder", tr("Open the folder of this camera's files"));
    m_remove = add("close", tr("Take out of the list; files stay"));
    connect(m_retry, &QToolButton::clicked, this, &DownloadRow::retryClicked);
    connect(m_cancel, &QToolButton::clicked, download, &Download::cancel);
    connect(m_remove, &QToolButton::clicked, this, &DownloadRow::removeClicked);
    connect(m_folder, &QToolButton::clicked, this, [this] {
        const QString folder = m_shown.isEmpty() ? m_download->files().folder()
                                                 : QFileInfo(m_shown.last()).absolutePath();
        if (!openFolder(folder))
            emit told(tr("The files are in %1").arg(QDir::toNativeSeparators(folder)));
    });

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(2 * theme::gap, theme::gap, theme::gap, theme::gap + 2);
    layout->setSpacing(theme::gap / 2);
    layout->addLayout(head);
    layout->addWidget(m_bar);
    layout->addWidget(m_state);
    layout->addLayout(m_results);
    m_results->setSpacing(0);
    connect(download, &Download::changed, this, &DownloadRow::showState);
    showState();
}

QString DownloadRow::text() const
{
    return m_state->text();
}

void DownloadRow::showState()
{
    const DownloadState state = m_download->state();
    const bool isRunning = state == DownloadState::Running;
    const bool hasEnded = state == DownloadState::Done || state == DownloadState::Failed ||
                          state == DownloadState::Cancelled;
    m_cancel->setVisible(isRunning || state == DownloadState::Waiting);
    m_retry->setVisible(state == DownloadState::Failed || state == DownloadState::Cancelled);
    m_remove->setVisible(hasEnded);
    m_folder->setVisible(hasEnded);
    m_bar->setVisible(isRunning || state == DownloadState::Stopping);
    m_bar->setValue(int(m_download->part() * kParts));
    m_state->setText(downloadText(*m_download));
    const QString look =
        state == DownloadState::Failed ? QStringLiteral("problem") : QStringLiteral("dim");
    if (m_state->objectName() != look) {
        m_state->setObjectName(look);
        m_state->style()->polish(m_state);
    }
    showResults();
}

void DownloadRow::showResults()
{
    if (m_shown == m_download->results())
        return;
    m_shown = m_download->results();
    while (QLayoutItem *item = m_results->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const QString &file : qAsConst(m_shown)) {
        const QFileInfo info(file);
        auto *button = new QPushButton(QStringLiteral("%1   %2").arg(
            info.fileName(),
            QLocale::c().formattedDataSize(info.size(), 1, QLocale::DataSizeSIFormat)));
        button->setObjectName(QStringLiteral("link"));
        button->setToolTip(tr("Open %1").arg(QDir::toNativeSeparators(file)));
        button->setCursor(Qt::PointingHandCursor);
        connect(button, &QPushButton::clicked, this, [this, file] { openResult(file); });
        m_results->addWidget(button, 0, Qt::AlignLeft);
    }
}

void DownloadRow::openResult(const QString &file)
{
    if (!QFileInfo::exists(file))
        emit told(tr("The file is not there any more: %1").arg(QDir::toNativeSeparators(file)));
    else if (!openFile(file))
        emit told(tr("The file is %1").arg(QDir::toNativeSeparators(file)));
}
