// Only to have the precompiled headers made.
