// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "buttonbar.h"
#include "device.h"

#include <QElapsedTimer>
#include <QList>
#include <QWidget>

class Download;
class DownloadQueue;
class DownloadRow;
class QCheckBox;
class QComboBox;
class QDateTimeEdit;
class QLabel;
class QVBoxLayout;
class TimeLine;

/// The bar below the page of downloads.
class DownloadBar final : public ButtonBar
{
    Q_OBJECT
    Q_DISABLE_COPY(DownloadBar)

public:
    explicit DownloadBar(QWidget *parent = nullptr);
    void showStatus(const QString &text, bool canTidy, bool fullScreen);

signals:
    void tidyClicked();
    void fullScreenClicked();
    void helpClicked();

private:
    QToolButton *m_tidy;
    QToolButton *m_fullScreen;
    QLabel *m_status;
};

/// The page on which spans of recordings are copied into files: a form that puts a span into the
/// queue, and the queue.
class DownloadPage final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(DownloadPage)

public:
    explicit DownloadPage(DownloadQueue *queue, QWidget *parent = nullptr);

    /// The bar that belongs to the page; whoever shows it becomes its owner.
    DownloadBar *bar() const { return m_bar; }
    void addCamera(const Camera &camera);
    /// Chooses a camera in the form, by its key.
    void choose(const QString &key);
    /// Puts the span into the form.
    void setSpan(const TimeSpan &span);
    TimeSpan span() const;
    /// Puts what the form says into the queue; tells what is wrong with it.
    void submit();
    const QList<DownloadRow *> &rows() const { return m_rows; }
    /// What the page says of the last wish.
    QString message() const;
    /// To be called a few times each second.
    void tick();

signals:
    void fullScreenWanted();
    void helpWanted();
    void listWanted();

private:
    QWidget *makeForm();
    QWidget *makeList();
    QDateTimeEdit *makeTimeField(const QString &name);
    void addShortcuts();
    void addRow(Download *download);
    void removeRow(Download *download);
    void takeMark();
    void takeFields();
    void setDay(const QDate &day);
    void updateLine();
    void tell(const QString &text, bool isProblem);
    Camera chosen() const;

    DownloadQueue *const m_queue;
    DownloadBar *m_bar;
    QVector<Camera> m_cameras;
    QComboBox *m_camera = nullptr;
    QDateTimeEdit *m_from = nullptr;
    QDateTimeEdit *m_to = nullptr;
    QCheckBox *m_sound = nullptr;
    TimeLine *m_timeLine = nullptr;
    QLabel *m_message = nullptr;
    QLabel *m_empty = nullptr;
    QVBoxLayout *m_list = nullptr;
    QList<DownloadRow *> m_rows;
    QElapsedTimer m_sinceLook; ///< at what is recorded
};
