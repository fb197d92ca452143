// Keeps a library target non-empty while its folder has no sources yet.
