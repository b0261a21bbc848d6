#include "VXReportView.h"

#include "VXColorExtensions.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXRegisteredDefaults.h"
#include "VXReportsLogging.h"
#include "VXSorting.h"
#include "VXStringDrawingExtensions.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEnterEvent>
#include <QFontMetricsF>
#include <QLinearGradient>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QScrollArea>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <unordered_map>

using namespace VXReportGeometry;

namespace {

constexpr char kApplicationsTitle[] = QT_TRANSLATE_NOOP("VXReportView", "Applications");
constexpr char kPoolsTitle[] = QT_TRANSLATE_NOOP("VXReportView", "Pools");

// The zoom after a selection: five steps of a sixth of the way, 15 ms apart, then the exact range.
constexpr int kZoomSteps = 5;
constexpr qint64 kZoomStepNanoseconds = 15'000'000;

bool userDefault(const QString &key, bool fallback)
{
    const VXUserDefaults *defaults = VXUserDefaults::standard();
    return defaults ? defaults->boolForKey(key) : fallback;
}

// The white veil over the light scheme's rows, at their top and at their bottom: a sheen that
// leaves the bars dark enough to stand out (under a veil of 0.6 even black would not reach 3:1
// against white).
constexpr double kLightShadingTop = 0.3;
constexpr double kLightShadingBottom = 0.15;

// Shading over every row, made once: lighter towards the top in the light scheme, darker towards
// the bottom in the others.
const QGradientStops &rowShading(bool light)
{
    static const QGradientStops lightStops {{0.0, whiteColor(1.0, kLightShadingTop)},
                                            {1.0, whiteColor(1.0, kLightShadingBottom)}};
    static const QGradientStops darkStops {{0.0, whiteColor(0.0, 0.25)}, {1.0, whiteColor(0.0, 0.4)}};
    return light ? lightStops : darkStops;
}

// The light scheme's bars against the white background, where the shading is palest: total
// activity at least 3:1, foreground at least 4:1, so that it also stands apart from the total it
// lies on. Each keeps its hue (grey, the tint of the theme's highlight colour); computed again
// only when the highlight colour changes.
constexpr double kLightTotalContrast = 3.0;
constexpr double kLightFrontContrast = 4.0;

QColor lightChannelColor(const QColor &base, double ratio)
{
    struct Entry {
        QRgb base;
        double ratio;
        QColor color;
    };
    static std::vector<Entry> cache;
    for (const Entry &entry : cache) {
        if (entry.base == base.rgba() && entry.ratio == ratio)
            return entry.color;
    }
    if (cache.size() >= 4)
        cache.clear();
    const QColor color = darkenedForContrast(base, whiteColor(1.0), ratio, kLightShadingTop);
    cache.push_back({base.rgba(), ratio, color});
    return color;
}

// Revisions are unique among all views, so that a picture can be told from another view's.
quint64 nextRevision()
{
    static quint64 last = 0;
    return ++last;
}

QColor backgroundColor(int scheme)
{
    return scheme == VXColorSchemeLight ? whiteColor(1.0) : whiteColor(0.1);
}

QColor rowTextColor(int scheme)
{
    return scheme == VXColorSchemeLight ? whiteColor(0.05) : whiteColor(1.0);
}

QColor rowSubtitleColor(int scheme)
{
    return scheme == VXColorSchemeLight ? whiteColor(0.12) : whiteColor(0.85);
}

QColor rowTextShadowColor(int scheme)
{
    return scheme == VXColorSchemeLight ? whiteColor(1.0, 0.35) : whiteColor(0.0, 0.6);
}

QColor separatorColor(int scheme)
{
    return scheme == VXColorSchemeLight ? whiteColor(0.8) : whiteColor(0.0, 0.5);
}

}   // namespace

struct VXReportView::Private {
    // The viewport of the enclosing scroll area, watched for resizes. Kept as a plain widget:
    // it still sends events while its scroll area is being destroyed.
    QPointer<QWidget> viewport;
    QPointer<QWidget> directionIndicator;
    QTimer deferredUpdate;
    // Reused for every channel so that a redraw allocates nothing per row.
    std::vector<QRectF> fills;
    std::vector<QRect> pixelFills;

    // The renderings without text keep each channel's fills between drawings, per log and row
    // rectangle (the taskbar icon and the desktop report draw the same logs in other rows), so
    // that a drawing after a tick walks only the last column of each log (walkNaturalChannel).
    struct KeptFills {
        VXArrayRef log;   // held, so that its address names no other array while kept
        QRectF rect;
        bool emboss = false;
        double begin = 0.0;
        std::vector<QRectF> fills;
        // The fills in whole points, as they are handed to the painter.
        std::vector<QRect> pixelFills;
        ChannelWalkPoint point;
        quint64 drawing = 0;
    };
    std::unordered_multimap<const VXArray *, KeptFills> keptFills;
    quint64 simplifiedDrawings = 0;
    // The renderings without text as of the last rebuild, and the rebuilds since with none.
    quint64 simplifiedDrawingsAtRebuild = 0;
    int rebuildsWithoutSimplifiedDrawing = 0;
    // A rendering without text is in progress.
    bool simplified = false;
    // The fills of one channel in the rendering without text, kept or made, in whole points.
    const std::vector<QRect> &keptFillsFor(const VXArrayRef &log, const QRectF &r, bool emboss, double begin,
                                           double scale)
    {
        const auto [first, last] = keptFills.equal_range(log.get());
        auto found = std::find_if(
            first, last, [&](const auto &entry) { return entry.second.rect == r && entry.second.emboss == emboss; });
        if (found == last) {
            KeptFills fresh;
            fresh.log = log;
            fresh.rect = r;
            fresh.emboss = emboss;
            found = keptFills.emplace(log.get(), std::move(fresh));
        }
        KeptFills &kept = found->second;
        if (kept.begin != begin) {
            // Another begin: no column of the last drawing holds.
            kept.begin = begin;
            kept.point = ChannelWalkPoint();
        }
        kept.drawing = simplifiedDrawings;
        const std::size_t unchanged = kept.point.fillCount > 0 ? kept.point.fillCount - 1 : 0;
        const bool pickedUp = walkNaturalChannel(*log, begin, scale, r, emboss, &kept.fills, &kept.point);
        kept.pixelFills.resize(kept.fills.size());
        for (std::size_t i = pickedUp ? unchanged : 0; i < kept.fills.size(); ++i)
            kept.pixelFills[i] = kept.fills[i].toAlignedRect();
        return kept.pixelFills;
    }
    // Forgets the fills of logs left out of the last few renderings without text.
    void forgetOldFills()
    {
        std::erase_if(keptFills, [this](const auto &entry) { return entry.second.drawing + 4 < simplifiedDrawings; });
    }

    // A press and its drag.
    bool pressInChooser = false;
    double begin0 = 0.0;
    double end0 = 0.0;
    double span = 0.0;
    double pressTimestamp = 0.0;
    bool ignoreNextRelease = false;

    // The tracking areas as last registered.
    bool trackRows = false;
    bool trackChooser = false;

    QString overlayMessage;
    QString overlaySubtitle;

    // The report as last drawn in the visible part, without the mouse read-out, so that a moving
    // mouse redraws only the read-out. Valid while everything that shapes the drawing is the
    // same: the key below, and `generation`, which every rebuild, setting and theme change bumps.
    struct CacheKey {
        quint64 generation = 0;
        QRectF visible;
        QSize size;
        qreal dpr = 0.0;
        int scheme = -1;
        int format = -1;
        bool front = false;
        bool total = false;
        bool naturalTime = false;
        double begin = 0.0;
        double end = 0.0;
        bool operator==(const CacheKey &) const = default;
    };
    QImage cache;
    CacheKey cacheKey;
    bool cacheValid = false;
    quint64 generation = nextRevision();
    QPointer<VXUserDefaults> watchedDefaults;
    // A setting or the delegate changed since the last rebuild (or there was none yet).
    bool modelStale = true;
    // Off while the cached part is drawn.
    bool drawReadOut = true;

    // The top of the drawing in progress (a row below it gets a separator).
    qreal drawingTop = 0.0;
};

VXReportView::VXReportView(QWidget *parent) : QWidget(parent), d(std::make_unique<Private>())
{
    m_mouseTrackLocation = noLocation();
    m_mouseDownLocation = noLocation();
    m_mouseDragLocation = noLocation();
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setContextMenuPolicy(Qt::DefaultContextMenu);
    d->deferredUpdate.setSingleShot(true);
    d->deferredUpdate.setInterval(0);
    // A resized window changes only the view's size: the model stays (the controller rebuilds
    // it on every tick and every change of settings), so resizing costs no clipping.
    connect(&d->deferredUpdate, &QTimer::timeout, this, [this] {
        resizeToContent();
        QWidget::update();
    });
}

VXReportView::~VXReportView() = default;

void VXReportView::setDelegate(VXReportViewDelegate *delegate)
{
    d->generation = nextRevision();
    d->modelStale = true;
    m_delegate = delegate;
}

quint64 VXReportView::revision() const
{
    return d->generation;
}

void VXReportView::watchDefaults()
{
    // Any change of a setting may change the drawing (scheme, texts, durations as days) and, for
    // the live report, what the delegate lists.
    VXUserDefaults *defaults = VXUserDefaults::standard();
    if (defaults == d->watchedDefaults)
        return;
    if (d->watchedDefaults)
        disconnect(d->watchedDefaults, nullptr, this, nullptr);
    d->watchedDefaults = defaults;
    if (defaults)
        connect(defaults, &VXUserDefaults::valueChanged, this, [this] {
            d->generation = nextRevision();
            d->modelStale = true;
        });
    d->generation = nextRevision();
    d->modelStale = true;
}

void VXReportView::setOverlayMessage(const QString &message, const QString &subtitle)
{
    d->generation = nextRevision();
    d->overlayMessage = message;
    d->overlaySubtitle = subtitle;
    QWidget::update();
}

QString VXReportView::overlayMessage() const
{
    return d->overlayMessage;
}

QString VXReportView::overlaySubtitle() const
{
    return d->overlaySubtitle;
}

void VXReportView::setDirectionIndicator(QWidget *directionIndicator)
{
    d->directionIndicator = directionIndicator;
}

QWidget *VXReportView::directionIndicator() const
{
    return d->directionIndicator;
}

// ---- Rebuilding

static QScrollArea *enclosingScrollArea(const QWidget *view)
{
    QWidget *viewport = view->parentWidget();
    if (!viewport)
        return nullptr;
    auto *scrollArea = qobject_cast<QScrollArea *>(viewport->parentWidget());
    return scrollArea && scrollArea->widget() == view ? scrollArea : nullptr;
}

void VXReportView::updateUnlessCurrent()
{
    watchDefaults();
    if (!m_delegate)
        return;
    if (!d->modelStale) {
        double begin = 0.0, end = 0.0, first = 0.0, last = 0.0;
        m_delegate->getBeginTimestamp(&begin, &end, &first, &last, this);
        if (begin == m_beginTimestamp && end == m_endTimestamp && first == m_firstTimestamp && last == m_lastTimestamp)
            return;
    }
    update(nullptr);
}

void VXReportView::update(QObject *sender)
{
    if (sender)
        d->deferredUpdate.stop();
    if (!m_delegate)
        return;
    watchDefaults();
    d->generation = nextRevision();
    d->modelStale = false;
    // Fills kept for renderings without text that are no longer made (the taskbar icon and the
    // desktop report turned off) go after a few rebuilds.
    if (d->simplifiedDrawings != d->simplifiedDrawingsAtRebuild) {
        d->simplifiedDrawingsAtRebuild = d->simplifiedDrawings;
        d->rebuildsWithoutSimplifiedDrawing = 0;
    } else if (++d->rebuildsWithoutSimplifiedDrawing > 4) {
        d->keptFills.clear();
    }

    // Follow the viewport's size: a resize of the window rebuilds the view.
    QScrollArea *scrollArea = enclosingScrollArea(this);
    QWidget *viewport = scrollArea ? scrollArea->viewport() : nullptr;
    if (viewport != d->viewport) {
        if (d->viewport)
            d->viewport->removeEventFilter(this);
        d->viewport = viewport;
        if (viewport)
            viewport->installEventFilter(this);
    }

    m_eventLogs.reset();
    m_containsApplications = false;
    m_containsPools = false;

    double begin = 0.0, end = 0.0, first = 0.0, last = 0.0;
    m_delegate->getBeginTimestamp(&begin, &end, &first, &last, this);
    m_beginTimestamp = begin;
    m_endTimestamp = end;
    m_firstTimestamp = first;
    m_lastTimestamp = last;

    if (VXSimilarAbsoluteTimeIntervals(begin, end)) {
        if (d->directionIndicator)
            d->directionIndicator->hide();
    } else {
        if (d->directionIndicator)
            d->directionIndicator->show();
        m_eventLogs = m_delegate->eventLogsForReportView(this, begin, end);
        if (m_eventLogs) {
            for (const VXValue &entry : *m_eventLogs) {
                const VXDictionary *dictionary = entry.dictionary();
                if (!dictionary)
                    continue;
                if (isPoolOrPoolItem(*dictionary))
                    m_containsPools = true;
                else
                    m_containsApplications = true;
            }
        }
    }
    m_showTimestampIntervalChooser
        = !(VXSimilarAbsoluteTimeIntervals(begin, first) && VXSimilarAbsoluteTimeIntervals(end, last));

    resizeToContent();

    if (!m_isTrackingAreaRegistrationScheduled) {
        m_isTrackingAreaRegistrationScheduled = true;
        QTimer::singleShot(0, this, [this] {
            m_isTrackingAreaRegistrationScheduled = false;
            const bool hasRows = m_containsApplications || m_containsPools;
            d->trackRows = hasRows && userDefault(VXReportViewKey::kShowTimeAtMouseLocation, false);
            d->trackChooser = hasRows && m_showTimestampIntervalChooser;
            // The mouse may already lie in an area: show its read-out at once.
            if (underMouse() && (d->trackRows || d->trackChooser))
                QWidget::update();
        });
    }
    QWidget::update();
}

void VXReportView::resizeToContent()
{
    QScrollArea *scrollArea = enclosingScrollArea(this);
    if (!scrollArea)
        return;
    const QSize content = scrollArea->viewport()->size();
    const qreal height = reportHeight(m_eventLogs ? m_eventLogs->size() : 0, m_containsApplications && m_containsPools,
                                      m_showTimestampIntervalChooser, content.height());
    resize(content.width(), int(std::ceil(height)));
}

QRectF VXReportView::visibleRect() const
{
    const QRectF bounds(rect());
    if (QScrollArea *scrollArea = enclosingScrollArea(this)) {
        const QRectF port(QPointF(-pos()), QSizeF(scrollArea->viewport()->size()));
        return bounds.intersected(port);
    }
    return bounds;
}

// ---- Time mapping

qreal VXReportView::xCoordinateForTimestamp(double timestamp, const QRectF &visibleRect,
                                            bool checkTimestampIntervalChooser) const
{
    if (checkTimestampIntervalChooser)
        return VXReportGeometry::xCoordinateForTimestamp(timestamp, m_firstTimestamp, m_lastTimestamp,
                                                         visibleRect.width());
    return VXReportGeometry::xCoordinateForTimestamp(timestamp, m_beginTimestamp, m_endTimestamp, visibleRect.width());
}

double VXReportView::timestampForMouseLocation(QPointF location, const QRectF &visibleRect,
                                               bool checkTimestampIntervalChooser) const
{
    const qreal x = location.x() - visibleRect.x();
    if (checkTimestampIntervalChooser)
        return timestampForX(x, m_firstTimestamp, m_lastTimestamp, visibleRect.width());
    return timestampForX(x, m_beginTimestamp, m_endTimestamp, visibleRect.width());
}

// ---- Drawing

namespace {

// The name (and under it the read-out) of a row, left-aligned and fitted to the rectangle. With
// `reserveSubtitle` the title takes the place it has when there is a subtitle, so a bullet drawn
// alone lines up with the name drawn beside it.
void drawOverlayMessage(QPainter &painter, const QString &message, const QString &subtitle, const QRectF &rect,
                        int colorScheme, bool reserveSubtitle)
{
    static VXTextAttributes titleAttributes;
    static VXTextAttributes subtitleAttributes;
    titleAttributes.alignment = Qt::AlignLeft;
    subtitleAttributes.alignment = Qt::AlignLeft;
    titleAttributes.shadowColor = rowTextShadowColor(colorScheme);
    subtitleAttributes.shadowColor = titleAttributes.shadowColor;

    const QColor color = rowTextColor(colorScheme);
    const bool twoLines = reserveSubtitle || !subtitle.isEmpty();
    const qreal titleHeight = twoLines ? std::floor(rect.height() * 0.56) : rect.height();
    scaleToFitAndDrawInRect(message, painter, QRectF(rect.x(), rect.y(), rect.width(), titleHeight), &titleAttributes,
                            QFont::DemiBold, &color, 16.0);
    if (!subtitle.isEmpty()) {
        const QColor subtitleColor = rowSubtitleColor(colorScheme);
        scaleToFitAndDrawInRect(subtitle, painter,
                                QRectF(rect.x(), rect.y() + titleHeight, rect.width(), rect.height() - titleHeight),
                                &subtitleAttributes, QFont::Normal, &subtitleColor, 12.0);
    }
}

void drawHeader(QPainter &painter, const QString &title, const QRectF &rect, int colorScheme, bool withTopBorder,
                qreal shadowHeight, qreal balanceScroller)
{
    const bool translucent = userDefault(VXDefaultsKey::kHeaderTranslucency, true);
    const double alpha = translucent ? 0.93 : 1.0;
    const bool light = colorScheme == VXColorSchemeLight;

    if (shadowHeight > 0.0) {
        const QRectF shadow(rect.left(), rect.bottom(), rect.width(), shadowHeight);
        QLinearGradient gradient(shadow.topLeft(), shadow.bottomLeft());
        gradient.setColorAt(0.0, whiteColor(0.0, light ? 0.18 : 0.45));
        gradient.setColorAt(1.0, whiteColor(0.0, 0.0));
        painter.fillRect(shadow, gradient);
    }
    if (light) {
        painter.fillRect(rect, whiteColor(1.0, alpha));
    } else {
        QLinearGradient gradient(rect.topLeft(), rect.bottomLeft());
        gradient.setColorAt(0.0, whiteColor(0.2, alpha));
        gradient.setColorAt(1.0, whiteColor(0.1, alpha));
        painter.fillRect(rect, gradient);
    }
    // A hairline under the band, and one along its top where it meets rows above it.
    painter.fillRect(QRectF(rect.left(), rect.bottom() - 1.0, rect.width(), 1.0),
                     light ? whiteColor(0.85) : whiteColor(0.0, 0.6));
    if (withTopBorder)
        painter.fillRect(QRectF(rect.left(), rect.top(), rect.width(), 1.0), separatorColor(colorScheme));

    static VXTextAttributes attributes;
    attributes.alignment = Qt::AlignHCenter;
    const QColor color = light ? whiteColor(0.35) : whiteColor(0.8);
    QRectF titleRect = rect.adjusted(8.0, 6.0, -8.0, -6.0);
    if (balanceScroller > 0.0)
        titleRect.setRight(titleRect.right() + balanceScroller);
    scaleToFitAndDrawInRect(title, painter, titleRect, &attributes, QFont::Bold, &color, 13.0);
}

}   // namespace

void VXReportView::drawReportInBounds(QPainter &painter, const QRectF &bounds, const QRectF &visibleRect, bool emboss,
                                      bool includeText, bool includeDetails, qreal balanceScroller,
                                      std::vector<VXEventLogRect> *storeRects)
{
    const int scheme = currentColorScheme();
    painter.fillRect(bounds, backgroundColor(scheme));
    if (!m_delegate)
        return;

    QRectF rowsRect = bounds;
    if (includeText && m_showTimestampIntervalChooser)
        rowsRect.setHeight(std::max<qreal>(0.0, rowsRect.height() - kChooserHeight));

    const bool drawTotal = m_delegate->drawTotalActivity();
    const bool drawFront = m_delegate->drawFrontActivity();
    const int format = m_delegate->timeFormat();
    const bool naturalTime = format == 0 || isLocationSet(m_mouseDownLocation);
    const double normalizing
        = m_eventLogs && !naturalTime ? normalizingInterval(*m_eventLogs, drawTotal, drawFront) : -1.0;
    d->drawingTop = bounds.top();
    d->simplified = !includeText;
    if (d->simplified)
        ++d->simplifiedDrawings;

    const auto drawRow = [&](const VXValue &entry, const QRectF &rowRect) {
        const VXDictionaryRef log = entry.dictionaryRef();
        if (!log)
            return;
        drawEventLog(painter, *log, drawTotal, drawFront, naturalTime, normalizing, rowRect, scheme, emboss,
                     includeText && includeDetails);
        if (storeRects)
            storeRects->push_back({log, rowRect});
    };

    const std::size_t count = m_eventLogs ? m_eventLogs->size() : 0;
    if (count == 0 && includeText && !d->overlayMessage.isEmpty()) {
        // Centred in the visible part of the rows' area: two lines, the subtitle smaller.
        const QRectF area = rowsRect.intersected(visibleRect);
        const qreal lineHeight = std::min<qreal>(40.0, std::floor(area.height() / 2.0));
        const qreal top = area.top() + std::floor((area.height() - 2.0 * lineHeight) / 2.0);
        static VXTextAttributes centred;
        centred.alignment = Qt::AlignHCenter;
        const QColor color = scheme == VXColorSchemeLight ? whiteColor(0.55) : whiteColor(0.6);
        scaleToFitAndDrawInRect(d->overlayMessage, painter,
                                QRectF(area.left() + 20.0, top, area.width() - 40.0, lineHeight), &centred, QFont::Bold,
                                &color, 24.0);
        scaleToFitAndDrawInRect(d->overlaySubtitle, painter,
                                QRectF(area.left() + 20.0, top + lineHeight, area.width() - 40.0, lineHeight * 0.6),
                                &centred, QFont::Normal, &color, 14.0);
    } else if (count > 0) {
        std::size_t applicationCount = 0;
        while (applicationCount < count) {
            const VXDictionary *dictionary = m_eventLogs->at(applicationCount).dictionary();
            if (dictionary && isPoolOrPoolItem(*dictionary))
                break;
            ++applicationCount;
        }
        const bool withHeaders = includeText && m_containsApplications && m_containsPools;
        const RowLayout layout
            = layoutRows(rowsRect, count, applicationCount, includeText, withHeaders, visibleRect.top());
        for (std::size_t i = count; i-- > 0;) {
            const QRectF &r = layout.rows[i];
            const qreal height = std::max<qreal>(r.height(), 1.0);
            if (r.top() >= visibleRect.bottom() || r.top() + height <= visibleRect.top())
                continue;
            drawRow(m_eventLogs->at(i), r);
        }
        if (layout.poolsHeader.shown) {
            // Drawn after the rows so that pinned headers cover them; the pushed applications
            // header last, as it slides out under the top edge.
            drawHeader(painter, QCoreApplication::translate("VXReportView", kPoolsTitle), layout.poolsHeader.rect,
                       scheme, layout.poolsHeader.topBorder, layout.poolsHeader.shadowHeight, balanceScroller);
            drawHeader(painter, QCoreApplication::translate("VXReportView", kApplicationsTitle),
                       layout.applicationsHeader.rect, scheme, layout.applicationsHeader.topBorder,
                       layout.applicationsHeader.shadowHeight, balanceScroller);
        }
    }

    if (d->simplified)
        d->forgetOldFills();
    if (includeText) {
        if (m_showTimestampIntervalChooser)
            drawTimestampIntervalChooser(painter, visibleRect, scheme);
        if (d->drawReadOut)
            drawMouseSpanOrMouseLocation(painter, visibleRect, scheme);
    }
}

void VXReportView::drawEventLog(QPainter &painter, const VXDictionary &eventLog, bool includeTotalActivity,
                                bool includeFrontActivity, bool inNaturalTime, double normalizedToInterval, QRectF r,
                                int colorScheme, bool emboss, bool includeText)
{
    painter.save();
    const bool drawText = includeText && r.height() >= 10.0;
    if (r.height() < 1.0)
        r.setHeight(1.0);
    const bool light = colorScheme == VXColorSchemeLight;

    if (includeTotalActivity) {
        if (const VXArrayRef log = eventLog.value(VXActiveLogKey).arrayRef())
            drawEventLogChannel(painter, log, inNaturalTime, normalizedToInterval,
                                light ? lightChannelColor(whiteColor(0.95), kLightTotalContrast) : whiteColor(0.2), r,
                                emboss);
    }
    if (includeFrontActivity) {
        if (const VXArrayRef log = eventLog.value(VXFrontActiveLogKey).arrayRef())
            drawEventLogChannel(painter, log, inNaturalTime, normalizedToInterval,
                                light ? lightChannelColor(selectedControlColor(), kLightFrontContrast)
                                      : activePieColor(colorScheme),
                                r, emboss);
    }
    if (colorScheme != VXColorSchemeUnshaded) {
        QLinearGradient gradient(r.topLeft(), r.bottomLeft());
        gradient.setStops(rowShading(light));
        painter.fillRect(r, gradient);
    }
    if (drawText) {
        const qreal inset = std::floor(r.height() / 7.0);
        QRectF textRect = r.adjusted(inset, inset, -inset, -inset);
        const qreal indent = std::floor(textRect.height() / 3.0);
        // Windows and pool members stand under their application or pool; pools carry the
        // pool item type too, but head their group.
        const QString &path = eventLog.value(VXPathKey).stringRef();
        const bool indented = path == VXWindowPathMarker
            || (eventLog.value(VXTypeKey).stringRef() == VXPoolItemType && path != VXPoolPathMarker);
        if (indented) {
            textRect.setLeft(textRect.left() + indent);
            drawOverlayMessage(painter, bulletString(), QString(), textRect.adjusted(-indent, 0.0, indent, 0.0),
                               colorScheme, true);
        }
        const QString subtitle
            = rowText(eventLog.value(VXFrontTimeKey).toDouble(), eventLog.value(VXTimeKey).toDouble(),
                      m_endTimestamp - m_beginTimestamp, includeFrontActivity, includeTotalActivity,
                      userDefault(VXReportViewKey::kReportsShowPercentages, false));
        drawOverlayMessage(painter, eventLog.value(VXNameKey).toString(), subtitle, textRect, colorScheme, true);
    }
    if (r.top() > d->drawingTop + 0.1) {
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        painter.fillRect(QRectF(r.left(), r.top(), r.width(), 1.0), separatorColor(colorScheme));
    }
    painter.restore();
}

void VXReportView::drawEventLogChannel(QPainter &painter, const VXArrayRef &log, bool inNaturalTime,
                                       double normalizedToInterval, const QColor &color, const QRectF &r, bool emboss)
{
    // Read through a const array: drawing must not make a shared log copy its numbers.
    const VXArray &eventLog = *log;
    if (eventLog.isEmpty())
        return;
    const double range = m_endTimestamp - m_beginTimestamp;
    if (inNaturalTime) {
        if (!(range > 0.0))
            return;
        // Whole points (rows and columns are), handed over in one call: a year's row can have a
        // fill for nearly every column.
        const std::vector<QRect> *pixelFills = &d->pixelFills;
        if (d->simplified) {
            pixelFills = &d->keptFillsFor(log, r, emboss, m_beginTimestamp, (r.width() + 1.0) / range);
        } else {
            d->fills.clear();
            appendNaturalChannelRects(eventLog, m_beginTimestamp, m_endTimestamp, r, emboss, &d->fills);
            d->pixelFills.resize(d->fills.size());
            for (std::size_t i = 0; i < d->fills.size(); ++i)
                d->pixelFills[i] = d->fills[i].toAlignedRect();
        }
        if (pixelFills->empty())
            return;
        painter.save();
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawRects(pixelFills->data(), int(pixelFills->size()));
        painter.restore();
        return;
    }
    const qreal width = normalizedBarWidth(eventLogDuration(eventLog), normalizedToInterval, range, r.width());
    if (width <= 0.0)
        return;
    QRectF bar(r.x(), r.y(), width, r.height());
    if (emboss)
        bar.adjust(-1.0, 0.0, 1.0, 0.0);
    painter.fillRect(bar, color);
}

QRectF VXReportView::timestampIntervalChooserRect(const QRectF &visibleRect) const
{
    return QRectF(visibleRect.left(), visibleRect.bottom() - kChooserHeight, visibleRect.width(), kChooserHeight);
}

QRectF VXReportView::rowsArea(const QRectF &visibleRect) const
{
    QRectF area = visibleRect;
    if (m_showTimestampIntervalChooser)
        area.setBottom(area.bottom() - kChooserHeight);
    return area;
}

void VXReportView::drawTimestampIntervalChooser(QPainter &painter, const QRectF &visibleRect, int colorScheme)
{
    const bool light = colorScheme == VXColorSchemeLight;
    const QRectF strip = timestampIntervalChooserRect(visibleRect);
    painter.fillRect(strip, light ? whiteColor(0.88) : whiteColor(0.16));
    painter.fillRect(QRectF(strip.left(), strip.top(), strip.width(), 1.0),
                     light ? whiteColor(0.7) : whiteColor(0.0, 0.7));

    // The shown range within all data.
    const qreal bx = strip.left() + xCoordinateForTimestamp(m_beginTimestamp, visibleRect, true);
    const qreal ex = strip.left() + xCoordinateForTimestamp(m_endTimestamp, visibleRect, true);
    const QRectF shown(bx, strip.top() + 3.0, std::max<qreal>(ex - bx, 1.0), strip.height() - 5.0);
    QColor mark = light ? alternateSelectedControlColor() : activePieColor(colorScheme);
    mark.setAlphaF(light ? 0.55f : 0.85f);
    painter.fillRect(shown, mark);
    const qreal edgeGrip = chooserGrip(bx, ex);
    if (edgeGrip > 0.0) {
        const QColor gripColor = light ? whiteColor(1.0, 0.9) : whiteColor(1.0, 0.55);
        painter.fillRect(QRectF(bx + edgeGrip, shown.top() + 2.0, 1.0, shown.height() - 4.0), gripColor);
        painter.fillRect(QRectF(ex - edgeGrip, shown.top() + 2.0, 1.0, shown.height() - 4.0), gripColor);
    }
}

void VXReportView::drawMouseSpanOrMouseLocation(QPainter &painter, const QRectF &visibleRect, int colorScheme)
{
    m_lastMouseLabelRect = QRectF();
    if (m_dragMode == DragMode::Select && isLocationSet(m_mouseDownLocation) && isLocationSet(m_mouseDragLocation)) {
        const QRectF area = rowsArea(visibleRect);
        const qreal left = std::min(m_mouseDownLocation.x(), m_mouseDragLocation.x());
        const qreal right = std::max(m_mouseDownLocation.x(), m_mouseDragLocation.x());
        QColor fill = colorScheme == VXColorSchemeLight ? alternateSelectedControlColor() : whiteColor(1.0);
        fill.setAlphaF(colorScheme == VXColorSchemeLight ? 0.25f : 0.18f);
        painter.fillRect(QRectF(left, area.top(), std::max<qreal>(right - left, 1.0), area.height()), fill);
        drawReadOut(painter, m_mouseDownLocation.x(), area, visibleRect, false, true, false);
        drawReadOut(painter, m_mouseDragLocation.x(), area, visibleRect, false, true, true);
        return;
    }
    if (isLocationSet(m_mouseTrackLocation))
        drawMouseLocationInVisibleRect(painter, visibleRect, true);
}

void VXReportView::drawMouseLocationInVisibleRect(QPainter &painter, const QRectF &visibleRect,
                                                  bool drawTimeDescription)
{
    const bool inChooser = m_mouseTrackLocationIsInTimestampIntervalChooser && m_showTimestampIntervalChooser;
    const QRectF area = inChooser ? timestampIntervalChooserRect(visibleRect) : rowsArea(visibleRect);
    drawReadOut(painter, m_mouseTrackLocation.x(), area, visibleRect, inChooser,
                userDefault(VXReportViewKey::kIndicatorLineTracksMouse, false), drawTimeDescription);
}

void VXReportView::drawReadOut(QPainter &painter, qreal x, const QRectF &area, const QRectF &visibleRect,
                               bool inChooser, bool drawLine, bool drawTimeDescription)
{
    x = std::floor(x);
    if (drawLine) {
        // A dark and a light line side by side, visible on every background.
        painter.fillRect(QRectF(x, area.top(), 1.0, area.height()), whiteColor(0.0, 0.5));
        painter.fillRect(QRectF(x + 1.0, area.top(), 1.0, area.height()), whiteColor(1.0, 0.5));
    }
    if (!drawTimeDescription)
        return;

    const double timestamp = timestampForMouseLocation(QPointF(x, 0.0), visibleRect, inChooser);
    const QString text = stringWithTimeIntervalAsDate(timestamp);
    if (text.isEmpty())
        return;
    static const QFont font = [] {
        QFont f = QApplication::font();
        f.setBold(true);
        f.setPixelSize(11);
        return f;
    }();
    const QFontMetricsF metrics(font);
    const QSizeF textSize(std::ceil(metrics.horizontalAdvance(text)), std::ceil(metrics.height()));
    const QSizeF labelSize(textSize.width() + 10.0, textSize.height() + 2.0);
    const QRectF label = mouseLabelRect(x, labelSize, area);
    const qreal radius = std::floor(textSize.height() / 2.0) + 1.0;

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(Qt::NoPen);
    painter.setBrush(whiteColor(0.0, 0.8));
    painter.drawRoundedRect(label, radius, radius);
    painter.setFont(font);
    const QRectF textRect = label.adjusted(5.0, 1.0, -5.0, -1.0);
    painter.setPen(whiteColor(0.0, 0.6));
    painter.drawText(textRect.translated(0.0, 1.0), Qt::AlignCenter | Qt::TextSingleLine, text);
    painter.setPen(whiteColor(1.0));
    painter.drawText(textRect, Qt::AlignCenter | Qt::TextSingleLine, text);
    painter.restore();
    m_lastMouseLabelRect = m_lastMouseLabelRect.isNull() ? label : m_lastMouseLabelRect.united(label);
}

void VXReportView::drawFlippedAndSimplifiedReportInRect(QPainter &painter, const QRectF &rect, bool emboss)
{
    painter.save();
    QRectF target = rect;
    if (painter.worldTransform().m22() < 0.0) {
        painter.scale(1.0, -1.0);
        target.moveTop(-(rect.y() + rect.height()));
    }
    drawReportInBounds(painter, target, target, emboss, false, false, -1.0, nullptr);
    painter.restore();
}

void VXReportView::paintEvent(QPaintEvent *)
{
    watchDefaults();
    const QRectF visible = visibleRect();
    const qreal dpr = devicePixelRatioF();
    Private::CacheKey key;
    key.generation = d->generation;
    key.visible = visible;
    key.size = size();
    key.dpr = dpr;
    key.scheme = currentColorScheme();
    if (m_delegate) {
        key.format = m_delegate->timeFormat();
        key.front = m_delegate->drawFrontActivity();
        key.total = m_delegate->drawTotalActivity();
    }
    key.naturalTime = isLocationSet(m_mouseDownLocation);
    key.begin = m_beginTimestamp;
    key.end = m_endTimestamp;

    if (m_isAnimating || !d->cacheValid || !(key == d->cacheKey)) {
        const QSize pixels(int(std::ceil(visible.width() * dpr)), int(std::ceil(visible.height() * dpr)));
        if (d->cache.size() != pixels)
            d->cache = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
        d->cache.setDevicePixelRatio(dpr);
        qreal balanceScroller = 0.0;
        if (QScrollArea *scrollArea = enclosingScrollArea(this))
            balanceScroller = scrollArea->width() - visible.width();
        m_eventLogRects.clear();
        if (!d->cache.isNull()) {
            QPainter cachePainter(&d->cache);
            cachePainter.translate(-visible.topLeft());
            d->drawReadOut = false;
            drawReportInBounds(cachePainter, QRectF(rect()), visible, false, true, !m_isAnimating, balanceScroller,
                               &m_eventLogRects);
            d->drawReadOut = true;
        }
        d->cacheKey = key;
        d->cacheValid = !m_isAnimating;
    }

    QPainter painter(this);
    if (d->cache.isNull())
        return;
    painter.drawImage(visible.topLeft(), d->cache);
    if (m_delegate)
        drawMouseSpanOrMouseLocation(painter, visible, key.scheme);
}

// ---- Hit testing and the context menu

VXDictionaryRef VXReportView::eventLogAtLocation(QPointF location) const
{
    for (const VXEventLogRect &entry : m_eventLogRects) {
        if (entry.rect.contains(location))
            return entry.log;
    }
    return VXDictionaryRef();
}

std::unique_ptr<QMenu> VXReportView::menuForEvent(QPointF location)
{
    if (!m_delegate)
        return nullptr;
    const VXDictionaryRef log = eventLogAtLocation(location);
    if (!log)
        return nullptr;
    return m_delegate->contextMenuForEventLog(log);
}

void VXReportView::contextMenuEvent(QContextMenuEvent *event)
{
    std::unique_ptr<QMenu> menu = menuForEvent(QPointF(event->pos()));
    if (!menu) {
        event->ignore();
        return;
    }
    menu->exec(event->globalPos());
}

// ---- Mouse tracking

bool VXReportView::locationIsInTimestampIntervalChooser(QPointF location) const
{
    return m_showTimestampIntervalChooser && location.y() >= visibleRect().bottom() - kChooserHeight;
}

void VXReportView::trackMouse(QPointF location, bool entering)
{
    const QRectF visible = visibleRect();
    const bool inChooser = locationIsInTimestampIntervalChooser(location);
    const bool tracked = visible.contains(location) && (inChooser ? d->trackChooser : d->trackRows);
    if (!tracked) {
        if (isLocationSet(m_mouseTrackLocation)) {
            m_mouseTrackLocation = noLocation();
            m_mouseTrackLocationIsInTimestampIntervalChooser = false;
            QWidget::update();
        }
        return;
    }
    const bool changed = entering || !isLocationSet(m_mouseTrackLocation) || location.x() != m_mouseTrackLocation.x()
        || inChooser != m_mouseTrackLocationIsInTimestampIntervalChooser;
    m_mouseTrackLocation = location;
    m_mouseTrackLocationIsInTimestampIntervalChooser = inChooser;
    if (changed)
        QWidget::update();
}

void VXReportView::enterEvent(QEnterEvent *event)
{
    trackMouse(event->position(), true);
}

void VXReportView::leaveEvent(QEvent *)
{
    m_mouseTrackLocation = noLocation();
    m_mouseTrackLocationIsInTimestampIntervalChooser = false;
    QWidget::update();
}

// ---- Range selection

void VXReportView::setMouseDownLocation(QPointF location)
{
    // While a range is being dragged, time portions are drawn in natural time.
    if (isLocationSet(location) != isLocationSet(m_mouseDownLocation))
        d->generation = nextRevision();
    m_mouseDownLocation = location;
}

void VXReportView::tellRange(double begin, double end)
{
    if (!m_delegate)
        return;
    // A side dragged to the border of the data is left open.
    m_delegate->setBeginTimestamp(VXSimilarAbsoluteTimeIntervals(begin, m_firstTimestamp) ? -1.0 : begin,
                                  VXSimilarAbsoluteTimeIntervals(end, m_lastTimestamp) ? -1.0 : end, this);
}

void VXReportView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    d->ignoreNextRelease = true;
    m_dragMode = DragMode::None;
    setMouseDownLocation(noLocation());
    if (m_delegate)
        m_delegate->setBeginTimestamp(-1.0, -1.0, this);
    QWidget::update();
}

void VXReportView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !m_delegate) {
        event->ignore();
        return;
    }
    d->ignoreNextRelease = false;
    const QPointF location = event->position();
    const QRectF visible = visibleRect();
    d->pressInChooser = locationIsInTimestampIntervalChooser(location);
    setMouseDownLocation(location);
    m_mouseDragLocation = location;
    d->begin0 = m_beginTimestamp;
    d->end0 = m_endTimestamp;
    d->span = d->end0 - d->begin0;

    if (!d->pressInChooser) {
        m_dragMode = DragMode::Select;
        setCursor(Qt::SizeHorCursor);
    } else {
        const qreal bx = xCoordinateForTimestamp(m_beginTimestamp, visible, true);
        const qreal ex = xCoordinateForTimestamp(m_endTimestamp, visible, true);
        d->pressTimestamp = timestampForMouseLocation(location, visible, true);
        m_dragMode
            = chooserPressMode(location.x() - visible.x(), bx, ex, d->pressTimestamp, m_beginTimestamp, m_endTimestamp);
        if (m_dragMode == DragMode::Move) {
            setCursor(Qt::ClosedHandCursor);
        } else {
            setCursor(Qt::SizeHorCursor);
            if (m_dragMode == DragMode::End)
                tellRange(m_beginTimestamp, d->pressTimestamp);
            else
                tellRange(d->pressTimestamp, m_endTimestamp);
        }
    }
    QWidget::update();
}

void VXReportView::mouseMoveEvent(QMouseEvent *event)
{
    const QPointF location = event->position();
    if (m_dragMode == DragMode::None || !(event->buttons() & Qt::LeftButton)) {
        trackMouse(location, false);
        return;
    }
    m_mouseDragLocation = location;
    const QRectF visible = visibleRect();
    const double t = timestampForMouseLocation(location, visible, m_dragMode != DragMode::Select);
    switch (m_dragMode) {
    case DragMode::End: tellRange(m_beginTimestamp, std::max(t, m_beginTimestamp)); break;
    case DragMode::Begin: tellRange(std::min(t, m_endTimestamp), m_endTimestamp); break;
    case DragMode::Move: {
        double begin = 0.0, end = 0.0;
        movedRange(t, d->pressTimestamp, d->begin0, d->span, m_firstTimestamp, m_lastTimestamp, &begin, &end);
        tellRange(begin, end);
        break;
    }
    case DragMode::Select:
    case DragMode::None: break;
    }
    // Keep the read-out with the mouse while dragging.
    if (m_dragMode != DragMode::Select)
        trackMouse(location, false);
    QWidget::update();
}

void VXReportView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    if (d->ignoreNextRelease) {
        d->ignoreNextRelease = false;
        unsetCursor();
        return;
    }
    if (m_dragMode == DragMode::Select && isLocationSet(m_mouseDownLocation) && isLocationSet(m_mouseDragLocation)) {
        const QRectF visible = visibleRect();
        const double downTimestamp = timestampForMouseLocation(m_mouseDownLocation, visible, false);
        const double dragTimestamp = timestampForMouseLocation(m_mouseDragLocation, visible, false);
        if (std::abs(downTimestamp - dragTimestamp) > 0.1)
            zoomToRange(std::min(downTimestamp, dragTimestamp), std::max(downTimestamp, dragTimestamp));
    }
    m_dragMode = DragMode::None;
    setMouseDownLocation(noLocation());
    unsetCursor();
    QWidget::update();
}

void VXReportView::zoomToRange(double lo, double hi)
{
    const double beginAtStart = m_beginTimestamp;
    const double endAtStart = m_endTimestamp;
    m_isAnimating = true;
    QElapsedTimer step;
    for (int i = 0; i < kZoomSteps; ++i) {
        step.start();
        m_beginTimestamp += (lo - beginAtStart) / 6.0;
        m_endTimestamp += (hi - endAtStart) / 6.0;
        repaint();
        const qint64 left = kZoomStepNanoseconds - step.nsecsElapsed();
        if (left > 0)
            QThread::usleep(static_cast<unsigned long>(left / 1000));
    }
    m_isAnimating = false;
    // The last step jumps to the exact range.
    tellRange(lo, hi);
}

// ---- Keeping up with the scroll area

void VXReportView::moveEvent(QMoveEvent *event)
{
    // Scrolling moves the view inside the viewport: the pinned headers, the chooser strip and
    // the read-out stay where they are on screen, so all that is visible is drawn again.
    QWidget::moveEvent(event);
    QWidget::update();
}

bool VXReportView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == d->viewport && event->type() == QEvent::Resize)
        d->deferredUpdate.start();
    return QWidget::eventFilter(watched, event);
}

void VXReportView::changeEvent(QEvent *event)
{
    // The theme's highlight colour is drawn in the light and dark schemes.
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange
        || event->type() == QEvent::StyleChange || event->type() == QEvent::FontChange) {
        d->generation = nextRevision();
        QWidget::update();
    }
    QWidget::changeEvent(event);
}
