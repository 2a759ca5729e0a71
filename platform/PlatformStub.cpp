// Platform services.
