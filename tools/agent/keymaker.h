#pragma once

#include <QString>

// Makes a certificate set for an instructor station that replaces the compiled-in one: a new CA,
// a server certificate signed by it and the server's key, with the `openssl` command (which must
// be on the PATH). The same kind of set the build makes for itself.
struct KeySet
{
    QString caFile;      // zobrel-ca.crt: give it to every agent (--ca)
    QString caKeyFile;   // zobrel-ca.key: keep it offline; needed only to sign a new server certificate
    QString certFile;    // zobrel-server.crt
    QString keyFile;     // zobrel-server.key
    QString fingerprint; // SHA-256 of the CA certificate, lower-case hex
};

// Creates the set in dir (made when missing). Refuses to overwrite an existing set. False with
// *error on any failure; key files are readable by their owner only.
bool makeKeySet(const QString &dir, KeySet *keys, QString *error);

// The settings lines (Zobrel.ini) that make an instructor station use keys.
QString instructorSettingsText(const KeySet &keys);
