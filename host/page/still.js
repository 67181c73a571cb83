'use strict';
{
  const {cards, plates} = embeddedCards();
  const gallery = new CGallery();
  gallery.viewer.large = card => card.larger;
  gallery.setCards(cards, plates);
}
