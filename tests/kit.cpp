int kitPlaceholder;
