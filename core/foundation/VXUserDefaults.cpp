#include "VXUserDefaults.h"

#include "VXLog.h"
#include "VXPrivateFiles.h"
#include "VXPropertyListSerialization.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QSet>
#include <QTimer>

#include <algorithm>
#include <optional>

const QString VXUserDefaults::kDomain = QStringLiteral("com.brasswing.WendleClient");
const QString VXUserDefaults::kOlderDomain = QStringLiteral("com.brasswing.Wendle");

namespace {

VXUserDefaults *s_standard = nullptr;

// A settings file larger than this is not read (it may hold the fallback copy of a large
// configuration, but nothing near this size).
constexpr qint64 kMaximumFileSize = 256 * 1024 * 1024;

// How long to let another writer finish before reading what it wrote: an editor that rewrites
// the file in place sends several notifications.
constexpr int kReloadDelayMilliseconds = 50;

const QString kFileExtension = QStringLiteral(".plist");

enum class ReadResult { Missing, Read, Unreadable, TooLarge };

ReadResult readFileBytes(const QString &path, QByteArray *bytes)
{
    QFile file(path);
    if (!file.exists())
        return ReadResult::Missing;
    if (!file.open(QIODevice::ReadOnly))
        return ReadResult::Unreadable;
    if (file.size() > kMaximumFileSize)
        return ReadResult::TooLarge;
    // As much as it holds (a request for the largest size would reserve that much first).
    *bytes = file.readAll();
    if (bytes->size() > kMaximumFileSize)
        return ReadResult::TooLarge;
    return ReadResult::Read;
}

bool isUsableDomainName(const QString &domain)
{
    return !domain.isEmpty() && !domain.contains(u'/') && domain != QStringLiteral(".")
        && domain != QStringLiteral("..");
}

bool containsNull(const VXValue &value, int depth = 0)
{
    if (value.isNull() || depth > VXPropertyListSerialization::kMaximumDepth)
        return true;
    if (const VXArray *array = value.array())
        return std::any_of(array->begin(), array->end(),
                           [depth](const VXValue &v) { return containsNull(v, depth + 1); });
    if (const VXDictionary *dictionary = value.dictionary())
        return std::any_of(dictionary->begin(), dictionary->end(),
                           [depth](const VXDictionary::Entry &e) { return containsNull(e.value, depth + 1); });
    return false;
}

// A string that spells a number, as a number; null otherwise.
VXValue numberFromString(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return VXValue();
    bool ok = false;
    const qlonglong integer = trimmed.toLongLong(&ok, 10);
    if (ok)
        return VXValue(integer);
    const double real = trimmed.toDouble(&ok);
    if (ok)
        return VXValue(real);
    return VXValue();
}

// The value as the typed getters see it: strings that spell numbers count as numbers.
VXValue numericValue(const VXValue &value)
{
    return value.isString() ? numberFromString(value.stringRef()) : value;
}

}   // namespace

struct VXUserDefaults::Private {
    VXUserDefaults *q = nullptr;
    QString domain;
    QString folder;
    QString path;

    VXDictionaryRef persistent = VXMakeDictionary();
    VXDictionaryRef registered = VXMakeDictionary();

    // Keys changed here and not yet written: they win over what another process wrote meanwhile.
    QSet<QString> pendingKeys;
    bool dirty = false;

    // The file's bytes as this store last read or wrote them; nothing when there was no file.
    // Notifications for a file that still holds these bytes are this store's own writes.
    std::optional<QByteArray> knownFileBytes;

    QTimer writeTimer;
    QTimer reloadTimer;
    std::unique_ptr<QFileSystemWatcher> watcher;

    const VXValue &effectiveValue(const VXDictionaryRef &layer, const QString &key) const
    {
        const VXValue &value = layer->value(key);
        return value.isNull() ? registered->value(key) : value;
    }

    // Settings can hold a copy of the configuration, window titles included.
    bool ensureFolder() { return VXMakePrivateFolder(folder); }

    void watch()
    {
        if (!watcher)
            return;
        if (!watcher->directories().contains(folder) && QFileInfo(folder).isDir())
            watcher->addPath(folder);
        // The folder tells of files renamed over ours; the file itself tells of in-place edits.
        if (!watcher->files().contains(path) && QFileInfo::exists(path))
            watcher->addPath(path);
    }

    bool setDamagedFileAside()
    {
        const QString target = VXSetDamagedFileAside(path);
        if (!target.isEmpty()) {
            qCWarning(lcFoundation).noquote()
                << QStringLiteral("damaged settings file <%1> set aside as <%2>").arg(path, target);
            return true;
        }
        qCWarning(lcFoundation).noquote() << QStringLiteral("cannot set aside damaged settings file <%1>").arg(path);
        return false;
    }

    void load()
    {
        QByteArray bytes;
        switch (readFileBytes(path, &bytes)) {
        case ReadResult::Missing: return;
        case ReadResult::Unreadable:
            qCWarning(lcFoundation).noquote() << QStringLiteral("cannot read settings file <%1>").arg(path);
            return;
        case ReadResult::TooLarge: setDamagedFileAside(); return;
        case ReadResult::Read: break;
        }
        if (VXDictionaryRef dictionary = deeplyMutableDictionaryWithData(bytes)) {
            persistent = dictionary;
            knownFileBytes = bytes;
        } else {
            // Start from the registered defaults; the file stays for a person to look at.
            setDamagedFileAside();
        }
    }

    // Takes in what another writer left in the file, keeping this store's unwritten changes.
    void reload()
    {
        QByteArray bytes;
        VXDictionaryRef onDisk;
        switch (readFileBytes(path, &bytes)) {
        case ReadResult::Missing:
            if (!knownFileBytes)
                return;
            // Deleted by someone else: every stored value is gone.
            knownFileBytes.reset();
            onDisk = VXMakeDictionary();
            break;
        case ReadResult::Unreadable:
            qCWarning(lcFoundation).noquote() << QStringLiteral("cannot read settings file <%1>").arg(path);
            return;
        case ReadResult::TooLarge:
            if (setDamagedFileAside()) {
                knownFileBytes.reset();
                markForRewrite();
            }
            return;
        case ReadResult::Read: {
            if (knownFileBytes && *knownFileBytes == bytes)
                return;
            onDisk = deeplyMutableDictionaryWithData(bytes);
            if (!onDisk) {
                // What was good is still in memory: put it back in place of the damaged file.
                if (setDamagedFileAside()) {
                    knownFileBytes.reset();
                    markForRewrite();
                }
                return;
            }
            knownFileBytes = bytes;
            break;
        }
        }
        for (const QString &key : std::as_const(pendingKeys)) {
            const VXValue &local = persistent->value(key);
            if (local.isNull())
                onDisk->remove(key);
            else
                onDisk->insert(key, local);
        }
        replacePersistent(onDisk);
        watch();
    }

    void replacePersistent(const VXDictionaryRef &next)
    {
        QSet<QString> keys;
        for (const auto &entry : *persistent)
            keys.insert(entry.key);
        for (const auto &entry : *next)
            keys.insert(entry.key);
        QStringList changed;
        for (const QString &key : std::as_const(keys)) {
            if (effectiveValue(persistent, key) != effectiveValue(next, key))
                changed.append(key);
        }
        persistent = next;
        announce(changed);
    }

    void announce(QStringList keys)
    {
        std::sort(keys.begin(), keys.end());
        for (const QString &key : std::as_const(keys))
            Q_EMIT q->valueChanged(key);
    }

    void markForRewrite()
    {
        dirty = true;
        writeTimer.start();
    }

    bool write()
    {
        if (!ensureFolder())
            return false;
        const std::optional<QByteArray> data
            = VXPropertyListSerialization::dataFromValue(VXValue(persistent), VXPropertyListSerialization::Format::XML);
        if (!data) {
            qCWarning(lcFoundation).noquote() << QStringLiteral("cannot encode settings of <%1>").arg(domain);
            return false;
        }
        if (!writeDataToFile(*data, path, true)) {
            qCWarning(lcFoundation).noquote() << QStringLiteral("cannot write settings file <%1>").arg(path);
            return false;
        }
        knownFileBytes = *data;
        pendingKeys.clear();
        dirty = false;
        watch();
        return true;
    }
};

VXUserDefaults::VXUserDefaults(const QString &domain, const QString &folder, QObject *parent, Watching watching) :
    QObject(parent), d(std::make_unique<Private>())
{
    d->q = this;
    d->domain = domain;
    d->folder = folder.isEmpty() ? defaultFolder() : QDir::cleanPath(folder);
    d->path = d->folder + u'/' + domain + kFileExtension;
    if (!isUsableDomainName(domain))
        qCWarning(lcFoundation).noquote() << QStringLiteral("unusable settings domain name <%1>").arg(domain);

    d->writeTimer.setSingleShot(true);
    d->writeTimer.setInterval(0);
    connect(&d->writeTimer, &QTimer::timeout, this, [this] { synchronize(); });
    d->reloadTimer.setSingleShot(true);
    d->reloadTimer.setInterval(kReloadDelayMilliseconds);
    connect(&d->reloadTimer, &QTimer::timeout, this, [this] { d->reload(); });

    d->load();
    d->ensureFolder();
    if (watching == Watching::None)
        return;
    d->watcher = std::make_unique<QFileSystemWatcher>();
    connect(d->watcher.get(), &QFileSystemWatcher::directoryChanged, this, [this] { d->reloadTimer.start(); });
    connect(d->watcher.get(), &QFileSystemWatcher::fileChanged, this, [this] { d->reloadTimer.start(); });
    d->watch();
}

VXUserDefaults::~VXUserDefaults()
{
    // Listeners may already be half gone: write, but announce nothing from here on.
    blockSignals(true);
    if (d->dirty)
        synchronize();
    if (s_standard == this)
        s_standard = nullptr;
}

VXUserDefaults *VXUserDefaults::standard()
{
    return s_standard;
}

void VXUserDefaults::setStandard(VXUserDefaults *defaults)
{
    s_standard = defaults;
}

QString VXUserDefaults::defaultFolder()
{
    // Relative values are invalid in the XDG base-directory rules and are ignored.
    QString base = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (base.isEmpty() || !QDir::isAbsolutePath(base))
        base = QDir::homePath() + QStringLiteral("/.config");
    return QDir::cleanPath(base + QStringLiteral("/Wendle"));
}

QString VXUserDefaults::domain() const
{
    return d->domain;
}

QString VXUserDefaults::filePath() const
{
    return d->path;
}

VXValue VXUserDefaults::objectForKey(const QString &key) const
{
    const VXValue &value = d->effectiveValue(d->persistent, key);
    return value.isContainer() ? value.deepCopy() : value;
}

VXValue VXUserDefaults::persistentObjectForKey(const QString &key) const
{
    const VXValue &value = d->persistent->value(key);
    return value.isContainer() ? value.deepCopy() : value;
}

void VXUserDefaults::setObject(const VXValue &value, const QString &key)
{
    if (!value.isNull() && containsNull(value)) {
        qCWarning(lcFoundation).noquote()
            << QStringLiteral("cannot store a value with an empty element under <%1>").arg(key);
        return;
    }
    const VXValue stored = d->persistent->value(key);
    if (stored == value)
        return;
    const VXValue before = d->effectiveValue(d->persistent, key);
    if (value.isNull())
        d->persistent->remove(key);
    else
        d->persistent->insert(key, value.isContainer() ? value.deepCopy() : value);
    d->pendingKeys.insert(key);
    d->markForRewrite();
    if (before != d->effectiveValue(d->persistent, key))
        Q_EMIT valueChanged(key);
}

void VXUserDefaults::removeObjectForKey(const QString &key)
{
    setObject(VXValue(), key);
}

bool VXUserDefaults::boolForKey(const QString &key) const
{
    const VXValue &value = d->effectiveValue(d->persistent, key);
    if (value.isString()) {
        const QString text = value.stringRef().trimmed();
        if (text.compare(QStringLiteral("YES"), Qt::CaseInsensitive) == 0
            || text.compare(QStringLiteral("true"), Qt::CaseInsensitive) == 0)
            return true;
    }
    return numericValue(value).toBool();
}

std::int64_t VXUserDefaults::integerForKey(const QString &key) const
{
    return numericValue(d->effectiveValue(d->persistent, key)).toInteger();
}

double VXUserDefaults::doubleForKey(const QString &key) const
{
    return numericValue(d->effectiveValue(d->persistent, key)).toDouble();
}

QString VXUserDefaults::stringForKey(const QString &key) const
{
    return d->effectiveValue(d->persistent, key).toString();
}

QByteArray VXUserDefaults::dataForKey(const QString &key) const
{
    return d->effectiveValue(d->persistent, key).toData();
}

VXArray *VXUserDefaults::arrayForKey(const QString &key) const
{
    return d->effectiveValue(d->persistent, key).array();
}

VXDictionary *VXUserDefaults::dictionaryForKey(const QString &key) const
{
    return d->effectiveValue(d->persistent, key).dictionary();
}

void VXUserDefaults::setBool(bool value, const QString &key)
{
    setObject(VXValue(value), key);
}

void VXUserDefaults::setInteger(std::int64_t value, const QString &key)
{
    setObject(VXValue(static_cast<long long>(value)), key);
}

void VXUserDefaults::setDouble(double value, const QString &key)
{
    setObject(VXValue(value), key);
}

void VXUserDefaults::setString(const QString &value, const QString &key)
{
    setObject(VXValue(value), key);
}

void VXUserDefaults::registerDefaults(const VXDictionaryRef &defaults)
{
    if (!defaults)
        return;
    QStringList changed;
    for (const auto &entry : *defaults) {
        if (entry.value.isNull() || containsNull(entry.value))
            continue;
        const VXValue before = d->effectiveValue(d->persistent, entry.key);
        d->registered->insert(entry.key, entry.value.deepCopy());
        if (before != d->effectiveValue(d->persistent, entry.key))
            changed.append(entry.key);
    }
    d->announce(changed);
}

VXDictionaryRef VXUserDefaults::persistentDictionary() const
{
    return VXValue(d->persistent).deepCopy().dictionaryRef();
}

VXDictionaryRef VXUserDefaults::persistentDomainForName(const QString &domain) const
{
    if (domain == d->domain)
        return persistentDictionary();
    if (!isUsableDomainName(domain)) {
        qCWarning(lcFoundation).noquote() << QStringLiteral("unusable settings domain name <%1>").arg(domain);
        return VXDictionaryRef();
    }
    const QString path = d->folder + u'/' + domain + kFileExtension;
    QByteArray bytes;
    switch (readFileBytes(path, &bytes)) {
    case ReadResult::Missing: return VXDictionaryRef();
    case ReadResult::Unreadable:
    case ReadResult::TooLarge:
        qCWarning(lcFoundation).noquote() << QStringLiteral("cannot read settings file <%1>").arg(path);
        return VXDictionaryRef();
    case ReadResult::Read: break;
    }
    VXDictionaryRef dictionary = deeplyMutableDictionaryWithData(bytes);
    if (!dictionary)
        qCWarning(lcFoundation).noquote() << QStringLiteral("ignoring damaged settings file <%1>").arg(path);
    return dictionary;
}

bool VXUserDefaults::synchronize()
{
    d->writeTimer.stop();
    d->reloadTimer.stop();
    d->reload();
    if (!d->dirty)
        return true;
    return d->write();
}
