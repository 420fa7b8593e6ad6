// Identify Namespace decoding.
