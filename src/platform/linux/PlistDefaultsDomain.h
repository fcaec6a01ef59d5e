// The Linux defaults domain: an XML property list under $XDG_CONFIG_HOME/tamsinvale, written atomically.
#pragma once

#include <QByteArray>
#include <QFileSystemWatcher>
#include <QString>
#include <QVariantMap>
#include <memory>

#include "BackgroundFileWriter.h"

#include "platform/Defaults.h"

namespace tamsinvale {

class PlistDefaultsDomain : public DefaultsDomain {
    Q_OBJECT
public:
    // `path` of the file; the folder is created on first write.
    explicit PlistDefaultsDomain(const QString& path, QObject* parent = nullptr);
    ~PlistDefaultsDomain() override;
    // $XDG_CONFIG_HOME/tamsinvale/defaults.plist, with ~/.config when the variable is unset or empty.
    static QString standardPath();

    std::optional<QVariant> value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;
    void setValues(const QVariantMap& values) override;
    void removeValue(const QString& key) override;
    QStringList keys() const override;
    bool synchronize() override;

    QString path() const { return m_path; }
    // Where an unreadable file was moved, when that happened during this run.
    QString movedAsidePath() const { return m_movedAsidePath; }

private:
    enum class ReadOutcome { missing, loaded, unreadable };
    enum class Durability { replaceOnly, onDisk };
    bool write(Durability durability);
    ReadOutcome readFile(QVariantMap* out, QByteArray* bytes);
    // True when the file on disk is what we last read or wrote, told without reading it.
    bool fileIsOurs() const;
    void moveAside();
    // Stores without telling anyone; true when the value differs from what was held.
    bool store(const QString& key, const QVariant& value);
    void markDirty();
    void fileMayHaveChanged();
    void watch();

    QString m_path;
    QVariantMap m_values;
    QByteArray m_lastSeenBytes;  // what the file held when we last read or wrote it
    std::optional<BackgroundFileWriter::Version> m_lastReadVersion;
    QList<QByteArray> m_recentWrites;  // handed to the writer, newest last: the file may hold any of them meanwhile
    bool m_dirty = false;
    bool m_flushScheduled = false;
    QString m_movedAsidePath;
    QFileSystemWatcher m_watcher;
    std::unique_ptr<BackgroundFileWriter> m_writer;  // last: it finishes its writes before the rest goes
};

}  // namespace tamsinvale
