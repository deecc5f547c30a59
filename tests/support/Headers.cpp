// A target with precompiled headers needs a source of its own.
