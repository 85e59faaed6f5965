// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/framemd5.h"

#include <QCryptographicHash>
#include <QFile>

extern "C" {
#include <libavutil/common.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace vantratest {

QVector<QByteArray> readFrameMd5(const QString &mediaFile)
{
    QVector<QByteArray> sums;
    QFile file(mediaFile + QStringLiteral(".framemd5"));
    if (!file.open(QIODevice::ReadOnly))
        return sums;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        sums.append(line.mid(line.lastIndexOf(',') + 1).trimmed());
    }
    return sums;
}

QByteArray pictureMd5(const uint8_t *const planes[], const int lineSizes[], int width, int height,
                      AVPixelFormat format)
{
    const AVPixFmtDescriptor *form = av_pix_fmt_desc_get(format);
    QCryptographicHash hash(QCryptographicHash::Md5);
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
        const bool isChroma = plane == 1 || plane == 2;
        const int lines = isChroma ? AV_CEIL_RSHIFT(height, form->log2_chroma_h) : height;
        const int bytes = av_image_get_linesize(format, width, plane);
        for (int y = 0; y < lines; ++y) {
            const uint8_t *line = planes[plane] + qptrdiff(lineSizes[plane]) * y;
            hash.addData(reinterpret_cast<const char *>(line), bytes);
        }
    }
    return hash.result().toHex();
}

} // namespace vantratest
