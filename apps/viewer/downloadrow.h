// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QFrame>

class Download;
class QLabel;
class QProgressBar;
class QToolButton;
class QVBoxLayout;

/// A download as the page lists it: what it is, how far it has come, what can be done with it, and
/// the files that it has written.
class DownloadRow final : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(DownloadRow)

public:
    explicit DownloadRow(Download *download, QWidget *parent = nullptr);

    Download *download() const { return m_download; }
    /// What is told of it.
    QString text() const;

signals:
    void retryClicked();
    void removeClicked();
    /// Something that is to be told.
    void told(const QString &text);

private:
    void showState();
    void showResults();
    void openResult(const QString &file);

    Download *const m_download;
    QLabel *m_state;
    QProgressBar *m_bar;
    QToolButton *m_cancel;
    QToolButton *m_retry;
    QToolButton *m_folder;
    QToolButton *m_remove;
    QVBoxLayout *m_results;
    QStringList m_shown; ///< files that are listed
};

/// In words: where a download stands.
QString downloadText(const Download &download);
/// A table with one line for each download, ending in a line break.
QString downloadsTable(const QList<Download *> &downloads);
