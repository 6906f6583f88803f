from sample_workspace import assembled, sample  # noqa: F401
