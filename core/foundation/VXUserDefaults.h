#pragma once

// The settings store: one property-list file per domain ($XDG_CONFIG_HOME/Wendle/<domain>.plist,
// XML so that a person can read it), over an in-memory layer of registered defaults. Typed
// getters read a missing or mistyped value as 0, false or nothing. Writes are coalesced and
// atomic. The file is watched (unless the store is made for a command), so a change made by
// `wendle defaults write` reaches a running program, which then announces the changed keys.

#include "VXValue.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>

class VXUserDefaults : public QObject
{
    Q_OBJECT
public:
    // The domain of the program's settings and the older one whose settings are imported once.
    static const QString kDomain;   // "com.brasswing.WendleClient"
    static const QString kOlderDomain;   // "com.brasswing.Wendle"

    // Whether the store follows what other processes write to its file. A command that reads
    // or writes and ends does not: the watch would cost it more to close at exit than its work.
    enum class Watching { OtherWriters, None };

    // `folder` holds the domain files; empty means $XDG_CONFIG_HOME/Wendle (~/.config/Wendle).
    explicit VXUserDefaults(const QString &domain = kDomain, const QString &folder = QString(),
                            QObject *parent = nullptr, Watching watching = Watching::OtherWriters);
    ~VXUserDefaults() override;

    // The program's store. Set once at start-up; tests install their own or none.
    static VXUserDefaults *standard();
    static void setStandard(VXUserDefaults *defaults);

    static QString defaultFolder();
    QString domain() const;
    QString filePath() const;

    // The persistent value, else the registered one, else null. Arrays and dictionaries come
    // back as copies: change one and store it again with setObject().
    VXValue objectForKey(const QString &key) const;
    // The value this domain's file holds for the key (no registered default), or null.
    VXValue persistentObjectForKey(const QString &key) const;
    void setObject(const VXValue &value, const QString &key);   // a null value removes the key
    void removeObjectForKey(const QString &key);

    // A string reads as a number when it is one ("600", "0.5"); for booleans "YES" and "true"
    // (any case) read as true as well. Anything else of the wrong type reads as 0 or false.
    bool boolForKey(const QString &key) const;
    std::int64_t integerForKey(const QString &key) const;
    double doubleForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;   // empty when missing or not a string
    QByteArray dataForKey(const QString &key) const;
    // The stored container itself (null when missing or of another type): read it, don't change
    // it, and don't keep it across a change of the store.
    VXArray *arrayForKey(const QString &key) const;
    VXDictionary *dictionaryForKey(const QString &key) const;

    void setBool(bool value, const QString &key);
    void setInteger(std::int64_t value, const QString &key);
    void setDouble(double value, const QString &key);
    void setString(const QString &value, const QString &key);

    // The registered layer: keys present here answer when the persistent layer has no value.
    void registerDefaults(const VXDictionaryRef &defaults);
    // Everything the persistent layer of this store holds.
    VXDictionaryRef persistentDictionary() const;
    // The persistent dictionary of another domain in the same folder, or null.
    VXDictionaryRef persistentDomainForName(const QString &domain) const;

    // Takes in what another process wrote to the file, then writes pending changes now.
    // Answers success.
    bool synchronize();

Q_SIGNALS:
    // A key's effective value changed, by this process or by another writing the file.
    void valueChanged(const QString &key);

private:
    struct Private;
    std::unique_ptr<Private> d;
};
