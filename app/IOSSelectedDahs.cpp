// Selected-DAHS settings.
